#pragma once

#include <array>
#include <string>
#include <variant>
#include <vector>

namespace halvo {

// A picture described by what is in it, from back to front. Lengths are in points; the origin is the top left
// corner, y grows downwards.

struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Rectangle {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    Point centre() const { return {x + width / 2, y + height / 2}; }
    bool operator==(const Rectangle&) const = default;
};

/// In sRGB, each from 0 to 1.
struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
    double opacity = 1;
    bool operator==(const Colour&) const = default;
};

/// From `startColour` at `start` to `endColour` at `end`, along the line between them.
struct LinearGradient {
    Point start{};
    Point end{};
    Colour startColour{};
    Colour endColour{};
};

using Paint = std::variant<Colour, LinearGradient>;

/// The outline of a shape, made of straight lines and cubic Bézier curves.
class Path {
public:
    struct Move {
        Point to{};
    };
    struct Line {
        Point to{};
    };
    struct Curve {
        Point firstControl{};
        Point secondControl{};
        Point to{};
    };
    struct Close {};
    using Element = std::variant<Move, Line, Curve, Close>;

    static Path line(Point from, Point to);
    static Path rectangle(const Rectangle& rectangle);
    static Path roundedRectangle(const Rectangle& rectangle, double radius);
    /// A closed polygon whose corner at `corners[i]` is rounded off, starting `radii[i]` away from it.
    static Path roundedPolygon(const std::vector<Point>& corners, const std::vector<double>& radii);

    std::vector<Element> elements{};
};

struct Fill {
    Path path{};
    Paint paint{};
};

struct Stroke {
    Path path{};
    Colour colour{};
    double width = 1;
    std::vector<double> dashes{}; ///< lengths drawn and left out in turn; empty: a whole line
};

enum class FontWeight { regular, medium, semibold, bold };
enum class FontDesign { proportional, monospaced };
enum class TextAlignment { left, centre, right };

/// A piece of a line in one style. Pieces stand side by side from the left, each with its own direction of
/// writing, so that a name in Arabic does not reorder the sentence around it.
struct TextRun {
    std::string text{}; ///< UTF-8
    FontWeight weight = FontWeight::regular;
    Colour colour{};
    bool mayBeShortened = false; ///< ends in "…" when the line has no room for it
};

/// One line of text. When it is wider than `maximumWidth`, it is set smaller, down to `minimumScale` of its
/// size; then the runs that may be shortened are.
struct TextLine {
    std::vector<TextRun> runs{};
    double size = 13; ///< of the font
    Point position{}; ///< the line's middle: left end, centre or right end by `alignment`
    TextAlignment alignment = TextAlignment::centre;
    FontDesign design = FontDesign::proportional;
    double letterSpacing = 0;
    double maximumWidth = 0; ///< 0: as wide as it gets
    double minimumScale = 1;
    double rotation = 0; ///< around `position`, in degrees, clockwise
};

using Shape = std::variant<Fill, Stroke, TextLine>;

struct Drawing {
    std::vector<Shape> shapes{};
};

} // namespace halvo
