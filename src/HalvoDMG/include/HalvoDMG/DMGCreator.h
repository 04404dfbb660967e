#pragma once

#include <HalvoDMG/DMGCreationError.h>
#include <HalvoDMG/ImageBuilder.h>

#include <optional>

namespace halvo {

/// Makes disk images of apps: compressed, read-only, with a window in which the app lies beside a link to
/// "/Applications".
class DMGCreator {
public:
    explicit DMGCreator(ImageBuilder& builder) : builder(builder) {}

    /// Gives the finished image: `outputURL`, or without one a file beside the app. It is there only when it
    /// is complete, and nothing else is left, however this ends. The app is not changed.
    ///
    /// Throws DMGCreationError and what the builder throws.
    URL create(const URL& appURL, const std::optional<URL>& outputURL, const DMGConfiguration& configuration,
               const Background& background, const ImageBuilder::Progress& progress = {}) const;

    /// "MyApp.dmg" beside "MyApp.app".
    static URL defaultOutputURL(const URL& appURL);

private:
    ImageBuilder& builder;
};

} // namespace halvo
