#pragma once

#include <Base/Failure.h>
#include <Platform/ImageServices.h>

namespace halvo {

/// A picture that could not be made.
class ImageCreatorError : public Failure {
public:
    enum class Case { failedToCreateImage };
    explicit ImageCreatorError(Case problem) : Failure(describe(problem)), which(problem) {}

    Case which;

private:
    static std::string describe(Case which);
};

/// Turns drawings into PNG files.
class PNGRenderer {
public:
    explicit PNGRenderer(ImageServices& images) : images(images) {}

    /// `width` by `height` points of the drawing, with two pixels for each point and DPI tags of 144.
    /// Throws ImageCreatorError when the system makes no picture of that size, Failure when no font is
    /// installed.
    Bytes render(const Drawing& view, double width, double height) const;

private:
    ImageServices& images;
};

} // namespace halvo
