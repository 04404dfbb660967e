// Any bytes: a picture of the size that was asked for, or none.
#include <ImageFormats/PNGPicture.h>
#include <ImageFormats/PictureRenderer.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvo;
    constexpr unsigned side = 20;
    if (const auto png = renderAsPNG(ByteView(data, size), side)) {
        const auto written = readPNGSize(*png);
        if (!written || written->width != side || written->height != side)
            std::abort();
    }
    return 0;
}
