#include "TextLayout.h"

#include <Base/Failure.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <fontconfig/fontconfig.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace halvo {
namespace {

/// The first of them that is installed; any other has the letters that it lacks.
constexpr const char* proportionalFamilies =
    "Inter, SF Pro Text, Helvetica Neue, Noto Sans, Cantarell, Ubuntu, DejaVu Sans, sans-serif";
constexpr const char* monospacedFamilies =
    "SF Mono, JetBrains Mono, Noto Sans Mono, Ubuntu Mono, DejaVu Sans Mono, monospace";

struct Release : ObjectRelease {
    using ObjectRelease::operator();
    void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
    void operator()(PangoAttrList* attributes) const { pango_attr_list_unref(attributes); }
};
template<typename Object>
using Owned = std::unique_ptr<Object, Release>;

/// Has fontconfig read its settings. In doing so it loses some bytes (version 2.14), for which the leak
/// sanitizer would end the program.
void loadFontSettings() {
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler disabler;
#endif
    FcInit();
}

PangoWeight toPango(FontWeight weight) {
    switch (weight) {
    case FontWeight::regular: return PANGO_WEIGHT_NORMAL;
    case FontWeight::medium: return PANGO_WEIGHT_MEDIUM;
    case FontWeight::semibold: return PANGO_WEIGHT_SEMIBOLD;
    case FontWeight::bold: return PANGO_WEIGHT_BOLD;
    }
    return PANGO_WEIGHT_NORMAL;
}

Owned<PangoFontDescription> makeFont(const TextLine& line, FontWeight weight, double size) {
    Owned<PangoFontDescription> font(pango_font_description_new());
    pango_font_description_set_family(
        font.get(), line.design == FontDesign::monospaced ? monospacedFamilies : proportionalFamilies);
    pango_font_description_set_weight(font.get(), toPango(weight));
    pango_font_description_set_absolute_size(font.get(), size * PANGO_SCALE);
    return font;
}

struct PlacedRun {
    const TextRun* run = nullptr;
    Owned<PangoLayout> layout{};

    double left() const { return extents().x / double{PANGO_SCALE}; }
    double width() const { return extents().width / double{PANGO_SCALE}; }
    void shortenTo(double width) {
        pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
        pango_layout_set_width(layout.get(), static_cast<int>(std::max(width, 1.0) * PANGO_SCALE));
    }

private:
    PangoRectangle extents() const {
        PangoRectangle logical{};
        pango_layout_get_extents(layout.get(), nullptr, &logical);
        return logical;
    }
};

using PlacedRuns = std::vector<PlacedRun>;

PlacedRuns layOut(PangoContext* context, const TextLine& line, double scale) {
    PlacedRuns runs;
    for (const TextRun& run : line.runs) {
        Owned<PangoLayout> layout(pango_layout_new(context));
        const auto font = makeFont(line, run.weight, line.size * scale);
        pango_layout_set_font_description(layout.get(), font.get());
        pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
        pango_layout_set_text(layout.get(), run.text.data(), static_cast<int>(run.text.size()));
        if (line.letterSpacing != 0) {
            const Owned<PangoAttrList> attributes(pango_attr_list_new());
            const double spacing = line.letterSpacing * scale * PANGO_SCALE;
            pango_attr_list_insert(attributes.get(),
                                   pango_attr_letter_spacing_new(static_cast<int>(spacing)));
            pango_layout_set_attributes(layout.get(), attributes.get());
        }
        runs.push_back({&run, std::move(layout)});
    }
    return runs;
}

double widthOf(const PlacedRuns& runs) {
    double width = 0;
    for (const PlacedRun& run : runs)
        width += run.width();
    return width;
}

void shorten(PlacedRuns& runs, double excess) {
    const auto count = std::ranges::count_if(runs, [](const auto& run) { return run.run->mayBeShortened; });
    for (PlacedRun& run : runs)
        if (run.run->mayBeShortened)
            run.shortenTo(run.width() - excess / static_cast<double>(count));
}

double scaleToFit(const TextLine& line, double width) {
    if (line.maximumWidth <= 0 || width <= line.maximumWidth)
        return 1;
    return std::max(line.maximumWidth / width, line.minimumScale);
}

/// From the middle of the capitals of the line's own font to their feet, so that letters from another font,
/// or a text without capitals, do not move the line.
double baselineBelowMiddle(PangoContext* context, const TextLine& line, double scale) {
    const TextLine capital{.runs = {{.text = "H"}}, .size = line.size, .design = line.design};
    const PlacedRuns runs = layOut(context, capital, scale);
    PangoRectangle ink{};
    pango_layout_get_extents(runs.front().layout.get(), &ink, nullptr);
    return ink.height / (2.0 * PANGO_SCALE);
}

} // namespace

TextPainter::TextPainter(cairo_t* target) : target(target) {
    loadFontSettings();
    fonts.reset(pango_cairo_font_map_new());
    context.reset(pango_font_map_create_context(fonts.get()));
    PangoFontFamily** families = nullptr;
    int count = 0;
    pango_context_list_families(context.get(), &families, &count);
    g_free(families);
    if (count == 0)
        throw Failure("There is no font to draw text with. Install a font package such as fonts-inter.");
    pango_cairo_update_context(target, context.get());
    // Letters keep their shapes and distances at two pixels for each point; fitting them to pixels would not.
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    pango_cairo_context_set_font_options(context.get(), options);
    cairo_font_options_destroy(options);
}

bool TextPainter::canDraw(std::string_view text) const {
    const TextLine line{.runs = {{.text = std::string(text)}}};
    const PlacedRuns runs = layOut(context.get(), line, 1);
    return pango_layout_get_unknown_glyphs_count(runs.front().layout.get()) == 0;
}

void TextPainter::draw(const TextLine& line) const {
    PlacedRuns runs = layOut(context.get(), line, 1);
    const double scale = scaleToFit(line, widthOf(runs));
    if (scale < 1) {
        runs = layOut(context.get(), line, scale);
        if (const double excess = widthOf(runs) - line.maximumWidth; excess > 0.01)
            shorten(runs, excess);
    }
    const double width = widthOf(runs);
    const double baseline = baselineBelowMiddle(context.get(), line, scale);

    cairo_save(target);
    cairo_translate(target, line.position.x, line.position.y);
    cairo_rotate(target, line.rotation * G_PI / 180);
    double x = line.alignment == TextAlignment::left    ? 0
               : line.alignment == TextAlignment::right ? -width
                                                        : -width / 2;
    for (const PlacedRun& run : runs) {
        const Colour& colour = run.run->colour;
        cairo_set_source_rgba(target, colour.red, colour.green, colour.blue, colour.opacity);
        cairo_move_to(target, x - run.left(), baseline);
        pango_cairo_show_layout_line(target, pango_layout_get_line_readonly(run.layout.get(), 0));
        x += run.width();
    }
    cairo_restore(target);
}

} // namespace halvo
