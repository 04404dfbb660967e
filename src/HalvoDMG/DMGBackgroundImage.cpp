#include <HalvoDMG/DMGBackgroundImage.h>

#include <Base/UUID.h>
#include <HalvoDMG/ImageView.h>
#include <Platform/Files.h>

#include <algorithm>

namespace halvo {
namespace {

/// As one line of text.
std::string shownName(std::string name) {
    std::ranges::replace_if(
        name, [](unsigned char letter) { return letter < 0x20 || letter == 0x7F; }, ' ');
    return name;
}

} // namespace

URL DMGBackgroundImage::create(double width, double height, const std::optional<std::string>& name,
                               bool watermark) const {
    ImageView view{.width = width, .height = height, .watermark = watermark};
    if (name && images.canDraw(shownName(*name)))
        view.name = shownName(*name);
    const Bytes png = PNGRenderer(images).render(view.draw(), width, height);
    const auto path = temporaryDirectory / ("background-" + UUID::random().string() + ".png");
    writeNewFile(path, png, 0644);
    return URL::file(path);
}

} // namespace halvo
