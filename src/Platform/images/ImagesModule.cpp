// What images.so offers to makeSystemImageServices.
#include <ImageFormats/DrawingRenderer.h>
#include <ImageFormats/ImageFile.h>
#include <ImageFormats/PictureRenderer.h>
#include <Platform/ImageServices.h>

namespace halvo {
namespace {

class CairoImageServices final : public ImageServices {
public:
    std::optional<Bytes> renderPNG(ByteView image, unsigned size) override {
        return renderAsPNG(image, size);
    }
    std::optional<Bytes> renderPNG(const Drawing& drawing, double width, double height,
                                   double scale) override {
        return renderDrawing(drawing, width, height, scale);
    }
    bool canDraw(std::string_view text) override { return canDrawText(text); }
    std::optional<ImageProperties> readProperties(ByteView image) override {
        return readImageProperties(image);
    }
    std::optional<Bytes> withDensity(ByteView image, PixelDensity density) override {
        return withImageDensity(image, density);
    }
};

} // namespace
} // namespace halvo

extern "C" halvo::ImageServices* halvoMakeImageServices() { return new halvo::CairoImageServices; }
