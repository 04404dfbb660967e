// Any bytes as what codesign, stapler and security are given: read, or refused with a Failure.
#include <Toolbox/CodeSignature.h>
#include <Toolbox/MachO.h>
#include <Toolbox/SignedMessage.h>

namespace {

template<typename Operation>
void tolerateFailure(Operation operation) {
    try {
        operation();
    } catch (const halvo::Failure&) {
        // Damaged input has to end here.
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvo;
    const ByteView input(data, size);
    tolerateFailure([&] {
        for (const MachOSlice& slice : readMachO(input))
            tolerateFailure([&] {
                if (const auto region = findCodeSignature(slice))
                    readCodeSignature(*region);
            });
    });
    tolerateFailure([&] {
        if (const auto region = findDiskImageSignature(input))
            readCodeSignature(*region);
    });
    tolerateFailure([&] { readCodeSignature(input); });
    signedContent(input);
    return 0;
}
