#include <HalvoDMG/DMGBackgroundImage.h>

#include <Base/UUID.h>
#include <HalvoDMG/ImageView.h>
#include <Platform/Files.h>

namespace halvo {

URL DMGBackgroundImage::create(double width, double height, const std::optional<std::string>& name,
                               bool watermark) const {
    const ImageView view{.width = width, .height = height, .name = name, .watermark = watermark};
    const Bytes png = PNGRenderer(images).render(view.draw(), width, height);
    const auto path = temporaryDirectory / ("background-" + UUID::random().string() + ".png");
    writeNewFile(path, png, 0644);
    return URL::file(path);
}

} // namespace halvo
