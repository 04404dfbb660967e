#include "ProgramFixture.h"

#include <Base/Base64.h>
#include <Support/Shell.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace halvo::test {
namespace {

// What stands before the 32 bytes of an Ed25519 key in the DER forms that openssl reads (RFC 8410).
constexpr std::string_view
    privateKeyPrefix("\x30\x2e\x02\x01\x00\x30\x05\x06\x03\x2b\x65\x70\x04\x22\x04\x20", 16);
constexpr std::string_view publicKeyPrefix("\x30\x2a\x30\x05\x06\x03\x2b\x65\x70\x03\x21\x00", 12);

Environment programEnvironment(const std::filesystem::path& home, const std::filesystem::path& temporary) {
    const char* path = std::getenv("PATH");
    return Environment({{"PATH", path != nullptr ? path : "/usr/bin:/bin"},
                        {"HOME", home.string()},
                        {"TMPDIR", temporary.string()},
                        {"XDG_CONFIG_HOME", (home / "config").string()},
                        {"XDG_DATA_HOME", (home / "data").string()},
                        {"XDG_CACHE_HOME", (home / "cache").string()},
                        {"XDG_STATE_HOME", (home / "state").string()},
                        {"HALVO_KEYCHAIN", "file"},
                        {"TZ", "UTC"},
                        {"no_proxy", "127.0.0.1"}});
}

std::string decoded(const std::string& base64) { return std::string(viewText(decodeBase64(base64).value())); }

} // namespace

ProgramTest::ProgramTest()
    : environment(programEnvironment(home, temporary)), processes(environment, ToolPaths(environment, "")) {
    for (const auto& directory : {work, home, temporary})
        std::filesystem::create_directories(directory);
}

std::unique_ptr<RunningProcess> ProgramTest::start(const Arguments& arguments, const Variables& variables,
                                                   const std::string& prelude) {
    Arguments values{work.string(), (folder / "output").string(), (folder / "error").string(), HALVO_PROGRAM};
    values.insert(values.end(), arguments.begin(), arguments.end());
    ProcessRequest request =
        shell("cd \"$1\"; exec >\"$2\" 2>\"$3\"; shift 3; " + prelude + " exec \"$@\"", values);
    request.environment = variables;
    request.ownGroup = true;
    return processes.start(request);
}

Outcome ProgramTest::finish(RunningProcess& process) {
    const Termination termination = process.wait();
    const bool exited = termination.kind == Termination::Kind::exited;
    Outcome run{.status = exited ? termination.value : -termination.value,
                .output = readText(folder / "output"),
                .error = readText(folder / "error")};
    for (std::size_t index = 0; index < secrets.size(); ++index) {
        const bool told = (run.output + run.error).find(secrets[index]) != std::string::npos;
        EXPECT_FALSE(told) << "secret " << index << " of the test stands in an output";
    }
    if (!mayLeaveTemporaryFiles) {
        EXPECT_THAT(temporaryFiles(), testing::IsEmpty());
    }
    return run;
}

Outcome ProgramTest::run(const Arguments& arguments, const Variables& variables, const std::string& prelude) {
    return finish(*start(arguments, variables, prelude));
}

std::string ProgramTest::script(const std::string& text, const Arguments& arguments) {
    Arguments values{work.string()};
    values.insert(values.end(), arguments.begin(), arguments.end());
    ProcessRequest request = shell("set -e; cd \"$1\"; shift; " + text, values);
    request.outputLimit = std::size_t{16} << 20;
    const ProcessResult result = processes.run(request);
    if (!result.succeeded())
        throw std::runtime_error("the script failed: " + text + "\n" + result.errorText());
    return result.standardOutput.substr(0, result.standardOutput.find_last_not_of(" \t\r\n") + 1);
}

ProgramTest::SigningKey ProgramTest::makeSigningKey(char seed) {
    const std::string bytes(32, seed);
    const auto der = folder.write("private.der", std::string(privateKeyPrefix) + bytes);
    return {.secret = encodeBase64(viewBytes(bytes)),
            .publicKey =
                script("openssl pkey -inform DER -in \"$1\" -pubout -outform DER | tail -c 32 | base64",
                       {der.string()})};
}

bool ProgramTest::opensslVerifies(const std::filesystem::path& file, const std::string& signature,
                                  const SigningKey& key) {
    const auto publicKey = folder.write("public.der", std::string(publicKeyPrefix) + decoded(key.publicKey));
    const auto signatureFile = folder.write("signature", decoded(signature));
    const std::string answer = script("openssl pkeyutl -verify -rawin -in \"$1\" -sigfile \"$2\" -pubin "
                                      "-keyform DER -inkey \"$3\" || true",
                                      {file.string(), signatureFile.string(), publicKey.string()});
    return answer == "Signature Verified Successfully";
}

void ProgramTest::storeInKeychain(const std::string& domain, const std::string& service,
                                  const std::string& data, const std::string& protocol) {
    nlohmann::json item{{"data", encodeBase64(viewBytes(data))}};
    if (!protocol.empty())
        item["protocol"] = protocol;
    const auto file = home / "data/halvo/keychain.json";
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << nlohmann::json{{domain, {{service, {{"ed25519", item}}}}}};
}

std::vector<std::filesystem::path> ProgramTest::temporaryFiles() const {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(temporary))
        files.push_back(entry.path());
    return files;
}

} // namespace halvo::test
