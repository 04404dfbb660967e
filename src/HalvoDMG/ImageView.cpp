#include "ImageView.h"

#include <Models/ServiceAddresses.h>

#include <algorithm>

namespace halvo {
namespace {

// The Finder writes its labels in black, whatever the picture: the ground stays light.
constexpr Colour ground{1, 1, 1};
constexpr Colour gradientTop{0.988, 0.990, 0.996};
constexpr Colour gradientBottom{0.894, 0.914, 0.949};
constexpr Colour arrowStart{0.545, 0.620, 0.750, 0.10};
constexpr Colour arrowEnd{0.345, 0.435, 0.600};
constexpr Colour ink{0.235, 0.271, 0.333};
constexpr Colour black{0, 0, 0};
constexpr Colour faintInk{0.443, 0.486, 0.565};

constexpr double bottomPadding = 64;
constexpr double lineSpacing = 16;
constexpr double sideMargin = 40;
constexpr double lineHeightForSize = 1.2;

Fill drawArrow(Point centre) {
    constexpr double length = 84, height = 52, shaft = 20, head = 34;
    const double left = centre.x - length / 2, neck = centre.x + length / 2 - head;
    return {Path::roundedPolygon({{left, centre.y - shaft / 2},
                                  {neck, centre.y - shaft / 2},
                                  {neck, centre.y - height / 2},
                                  {centre.x + length / 2, centre.y},
                                  {neck, centre.y + height / 2},
                                  {neck, centre.y + shaft / 2},
                                  {left, centre.y + shaft / 2}},
                                 {6, 2, 7, 7, 7, 2, 6}),
            LinearGradient{{left, centre.y}, {centre.x + length / 2, centre.y}, arrowStart, arrowEnd}};
}

std::vector<TextRun> dragLabel(const std::optional<std::string>& name) {
    const auto plain = [](std::string text) {
        return TextRun{.text = std::move(text), .weight = FontWeight::medium, .colour = ink};
    };
    if (!name)
        return {plain("Drag to Applications to install")};
    return {plain("Drag "),
            {.text = *name, .weight = FontWeight::semibold, .colour = black, .mayBeShortened = true},
            plain(" to Applications to install")};
}

} // namespace

Drawing ImageView::draw() const {
    const Path canvas = Path::rectangle({0, 0, width, height});
    Drawing drawing{{Fill{canvas, ground},
                     Fill{canvas, LinearGradient{{0, 0}, {0, height}, gradientTop, gradientBottom}},
                     drawArrow({width / 2, height / 2 + verticalOffset})}};

    double bottom = height - bottomPadding; // the lines are stacked upwards from here
    const auto stack = [&](double size, std::vector<TextRun> runs) {
        const double lineHeight = size * lineHeightForSize;
        drawing.shapes.emplace_back(TextLine{.runs = std::move(runs),
                                             .size = size,
                                             .position = {width / 2, bottom - lineHeight / 2},
                                             .maximumWidth = std::max(width - 2 * sideMargin, 1.0),
                                             .minimumScale = 0.8});
        bottom -= lineHeight + lineSpacing;
    };
    if (watermark)
        stack(11, {{.text = std::string("Built with ") + servicePublicHost,
                    .weight = FontWeight::medium,
                    .colour = faintInk}});
    stack(14, dragLabel(name));
    return drawing;
}

} // namespace halvo
