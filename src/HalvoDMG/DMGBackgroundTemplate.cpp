#include <HalvoDMG/DMGBackgroundTemplate.h>

#include <HalvoDMG/TemplateView.h>

namespace halvo {

Bytes DMGBackgroundTemplate::create(const DMGConfiguration& configuration) const {
    return PNGRenderer(images).render(TemplateView{configuration}.draw(),
                                      static_cast<double>(configuration.windowWidth),
                                      static_cast<double>(configuration.windowHeight));
}

} // namespace halvo
