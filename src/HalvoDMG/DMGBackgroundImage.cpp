#include <HalvoDMG/DMGBackgroundImage.h>

#include <Base/UUID.h>
#include <Base/Unicode.h>
#include <HalvoDMG/ImageView.h>
#include <Platform/Files.h>

#include <algorithm>

namespace halvo {
namespace {

/// As one line of text.
std::string shownName(const std::string& name) {
    std::string shown = repairedUTF8(name);
    std::ranges::replace_if(
        shown, [](unsigned char letter) { return letter < 0x20 || letter == 0x7F; }, ' ');
    return shown;
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
