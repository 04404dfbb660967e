// Any bytes: no picture, or one that can be given other DPI tags and is the same picture with them.
#include <ImageFormats/ImageFile.h>

#include <cmath>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvo;
    const ByteView image(data, size);
    const auto before = readImageProperties(image);
    for (const double density : {144.0, 100.3}) {
        const auto copy = withImageDensity(image, {density, density});
        if (!copy || !before)
            continue;
        const auto after = readImageProperties(*copy);
        if (!after || after->pixelWidth != before->pixelWidth || after->pixelHeight != before->pixelHeight ||
            std::abs(after->density.x - density) > 0.05 || std::abs(after->density.y - density) > 0.05)
            std::abort();
    }
    return 0;
}
