// Writes the files that the fuzzer of code signatures starts from: CodeSignatureSeeds FOLDER
#include <Platform/Files.h>
#include <Support/SignedFiles.h>

#include <cstdio>
#include <filesystem>

int main(int count, char** values) {
    using namespace halvo;
    using namespace halvo::test;
    if (count != 2) {
        std::fputs("Usage: CodeSignatureSeeds FOLDER\n", stderr);
        return 1;
    }
    const std::filesystem::path folder = values[1];
    const std::filesystem::path data = std::filesystem::path(HALVO_TEST_DATA) / "HalvoNotarization";
    const Bytes whole = signature({{0, codeDirectory({.hashType = 1})},
                                   {0x1000, codeDirectory()},
                                   {0x10000, wrapped(readFile(data / "signature.cms"))},
                                   {0x10002, wrapped(viewBytes("s8ch"))}});
    const auto write = [&](const char* name, const Bytes& bytes) {
        writeFileAtomically(folder / name, bytes);
    };
    write("signature", whole);
    write("thin64", thinMachO(whole));
    write("thin32", thinMachO(whole, {7, false, true}));
    write("thinBig", thinMachO(whole, {18, false, false}));
    write("universal", universalMachO({{x86_64, thinMachO(whole, {x86_64})}, {arm64, thinMachO(whole)}}));
    write("universal64", universalMachO({{arm64, thinMachO(whole)}}, true));
    write("image", diskImage(whole));
    write("message", readFile(data / "developer-id.provisionprofile"));
    return 0;
}
