#include <Platform/ImageServices.h>

#include <Platform/LoadedModule.h>

#include <mutex>

namespace halvo {
namespace {

class SystemImageServices final : public ImageServices {
public:
    std::optional<Bytes> renderPNG(ByteView image, unsigned size) override {
        return services().renderPNG(image, size);
    }
    std::optional<Bytes> renderPNG(const Drawing& drawing, double width, double height,
                                   double scale) override {
        return services().renderPNG(drawing, width, height, scale);
    }
    bool canDraw(std::string_view text) override { return services().canDraw(text); }
    std::optional<ImageProperties> readProperties(ByteView image) override {
        return services().readProperties(image);
    }
    std::optional<Bytes> withDensity(ByteView image, PixelDensity density) override {
        return services().withDensity(image, density);
    }

private:
    ImageServices& services() {
        std::call_once(opened, [this] {
            module.reset(LoadedModule("images").function<ImageServices*()>("halvoMakeImageServices")());
        });
        return *module;
    }

    std::once_flag opened;
    std::unique_ptr<ImageServices> module;
};

} // namespace

std::unique_ptr<ImageServices> makeSystemImageServices() { return std::make_unique<SystemImageServices>(); }

} // namespace halvo
