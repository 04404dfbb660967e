#include <ImageFormats/DrawingRenderer.h>

#include "CairoSurface.h"
#include "PNGFile.h"
#include "TextLayout.h"

#include <ImageFormats/PNGPicture.h>

#include <cmath>

namespace halvo {
namespace {

constexpr double longestSide = 8192;
constexpr double pointsPerInch = 72;

using CairoPattern = std::unique_ptr<cairo_pattern_t, void (*)(cairo_pattern_t*)>;

void addStop(const CairoPattern& gradient, double offset, const Colour& colour) {
    cairo_pattern_add_color_stop_rgba(gradient.get(), offset, colour.red, colour.green, colour.blue,
                                      colour.opacity);
}

/// Draws shapes with one context of cairo.
class Painter {
public:
    explicit Painter(cairo_t* context) : context(context) {}

    void operator()(const Fill& fill) const {
        trace(fill.path);
        std::visit([this](const auto& paint) { setSource(paint); }, fill.paint);
        cairo_fill(context);
    }
    void operator()(const Stroke& stroke) const {
        trace(stroke.path);
        setSource(stroke.colour);
        cairo_set_line_width(context, stroke.width);
        cairo_set_dash(context, stroke.dashes.data(), static_cast<int>(stroke.dashes.size()), 0);
        cairo_stroke(context);
    }
    void operator()(const TextLine& line) {
        if (!text)
            text.emplace(context);
        text->draw(line);
    }

    void operator()(const Path::Move& move) const { cairo_move_to(context, move.to.x, move.to.y); }
    void operator()(const Path::Line& line) const { cairo_line_to(context, line.to.x, line.to.y); }
    void operator()(const Path::Curve& curve) const {
        cairo_curve_to(context, curve.firstControl.x, curve.firstControl.y, curve.secondControl.x,
                       curve.secondControl.y, curve.to.x, curve.to.y);
    }
    void operator()(const Path::Close&) const { cairo_close_path(context); }

private:
    void trace(const Path& path) const {
        cairo_new_path(context);
        for (const Path::Element& element : path.elements)
            std::visit(*this, element);
    }
    void setSource(const Colour& colour) const {
        cairo_set_source_rgba(context, colour.red, colour.green, colour.blue, colour.opacity);
    }
    void setSource(const LinearGradient& gradient) const {
        const CairoPattern pattern(
            cairo_pattern_create_linear(gradient.start.x, gradient.start.y, gradient.end.x, gradient.end.y),
            cairo_pattern_destroy);
        addStop(pattern, 0, gradient.startColour);
        addStop(pattern, 1, gradient.endColour);
        cairo_set_source(context, pattern.get());
    }

    cairo_t* context;
    std::optional<TextPainter> text{}; ///< made with the first line: finding fonts takes time
};

} // namespace

std::optional<Bytes> renderDrawing(const Drawing& drawing, double width, double height, double scale) {
    const double pixelWidth = std::round(width * scale);
    const double pixelHeight = std::round(height * scale);
    const auto isSide = [](double length) { return length >= 1 && length <= longestSide; };
    if (!isSide(pixelWidth) || !isSide(pixelHeight))
        return std::nullopt;
    const CairoSurface surface =
        makeSurface(static_cast<unsigned>(pixelWidth), static_cast<unsigned>(pixelHeight));
    const CairoContext context = makeContext(surface);
    cairo_scale(context.get(), scale, scale);
    Painter painter(context.get());
    for (const Shape& shape : drawing.shapes)
        std::visit(painter, shape);
    const Bytes png = encodePNG(toPicture(surface, context));
    return withPNGDensity(png, {pointsPerInch * scale, pointsPerInch * scale});
}

bool canDrawText(std::string_view text) {
    const CairoSurface surface = makeSurface(1, 1);
    const CairoContext context = makeContext(surface);
    return TextPainter(context.get()).canDraw(text);
}

} // namespace halvo
