#pragma once

#include <Platform/Drawing.h>

#include <memory>
#include <string_view>

#include <pango/pangocairo.h>

namespace halvo {

/// Drops one reference to an object of GLib's.
struct ObjectRelease {
    void operator()(void* object) const { g_object_unref(object); }
};

/// Draws lines of text with a context of cairo's, at its scale.
class TextPainter {
public:
    /// Throws Failure when no font is installed.
    explicit TextPainter(cairo_t* target);
    void draw(const TextLine& line) const;
    /// Whether there is a font for each character of the text.
    bool canDraw(std::string_view text) const;

private:
    cairo_t* target;
    std::unique_ptr<PangoFontMap, ObjectRelease> fonts;
    std::unique_ptr<PangoContext, ObjectRelease> context;
};

} // namespace halvo
