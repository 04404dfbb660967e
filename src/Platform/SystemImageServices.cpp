#include <Platform/ImageServices.h>

#include <Platform/LoadedModule.h>

#include <mutex>

namespace halvo {
namespace {

class SystemImageServices final : public ImageServices {
public:
    std::optional<Bytes> renderPNG(ByteView image, unsigned size) override {
        std::call_once(opened, [this] {
            services.reset(LoadedModule("images").function<ImageServices*()>("halvoMakeImageServices")());
        });
        return services->renderPNG(image, size);
    }

private:
    std::once_flag opened;
    std::unique_ptr<ImageServices> services;
};

} // namespace

std::unique_ptr<ImageServices> makeSystemImageServices() { return std::make_unique<SystemImageServices>(); }

} // namespace halvo
