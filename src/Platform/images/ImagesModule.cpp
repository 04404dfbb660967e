// What images.so offers to makeSystemImageServices.
#include <ImageFormats/PictureRenderer.h>
#include <Platform/ImageServices.h>

namespace halvo {
namespace {

class CairoImageServices final : public ImageServices {
public:
    std::optional<Bytes> renderPNG(ByteView image, unsigned size) override {
        return renderAsPNG(image, size);
    }
};

} // namespace
} // namespace halvo

extern "C" halvo::ImageServices* halvoMakeImageServices() { return new halvo::CairoImageServices; }
