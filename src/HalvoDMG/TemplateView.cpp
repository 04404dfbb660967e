#include "TemplateView.h"

#include <algorithm>

#include <fmt/format.h>

namespace halvo {
namespace {

constexpr double gridStep = 10;
constexpr int stepsPerThickLine = 5;
constexpr double margin = 20;

constexpr Colour white(double opacity) { return {1, 1, 1, opacity}; }

/// Draws the parts of the blueprint over each other.
class Blueprint {
public:
    explicit Blueprint(const DMGConfiguration& configuration)
        : configuration(configuration), width(static_cast<double>(configuration.windowWidth)),
          height(static_cast<double>(configuration.windowHeight)) {}

    Drawing draw() {
        drawing.shapes.emplace_back(
            Fill{Path::rectangle({0, 0, width, height}), TemplateView::blueprintBlue});
        drawGrid();
        drawFrame();
        drawTitle();
        drawIconLine();
        drawPlaceholder("App icon", appIcon());
        drawPlaceholder("Applications", applicationsLink());
        drawNote();
        return std::move(drawing);
    }

private:
    Point appIcon() const {
        return {static_cast<double>(configuration.appIconX), static_cast<double>(configuration.appIconY)};
    }
    Point applicationsLink() const {
        return {static_cast<double>(configuration.applicationsLinkX),
                static_cast<double>(configuration.applicationsLinkY)};
    }

    void stroke(const Path& path, double opacity, double lineWidth, std::vector<double> dashes = {}) {
        drawing.shapes.emplace_back(Stroke{path, white(opacity), lineWidth, std::move(dashes)});
    }
    void line(Point from, Point to, double opacity, double lineWidth, std::vector<double> dashes = {}) {
        stroke(Path::line(from, to), opacity, lineWidth, std::move(dashes));
    }
    TextLine& text(std::string words, Point position, double size, double opacity) {
        drawing.shapes.emplace_back(TextLine{
            .runs = {{.text = std::move(words), .weight = FontWeight::medium, .colour = white(opacity)}},
            .size = size,
            .position = position,
            .maximumWidth = width - 2 * margin,
            .minimumScale = 0.5});
        return std::get<TextLine>(drawing.shapes.back());
    }
    /// A label over a line, which it interrupts.
    void textOnGround(const std::string& words, Point position, double size, double backWidth) {
        drawing.shapes.emplace_back(Fill{
            Path::rectangle({position.x - backWidth / 2, position.y - size * 0.7, backWidth, size * 1.4}),
            TemplateView::blueprintBlue});
        text(words, position, size, 0.9);
    }

    void drawGrid() {
        const auto drawLines = [&](double length, auto drawLine) {
            for (int index = 1; index * gridStep < length; ++index)
                drawLine(index * gridStep, index % stepsPerThickLine == 0 ? 0.13 : 0.05);
        };
        drawLines(width, [&](double x, double opacity) { line({x, 0}, {x, height}, opacity, 0.5); });
        drawLines(height, [&](double y, double opacity) { line({0, y}, {width, y}, opacity, 0.5); });
    }

    void drawFrame() { stroke(Path::rectangle({0.5, 0.5, width - 1, height - 1}), 0.5, 1); }

    void drawTitle() {
        TextLine& title = text("DMG BACKGROUND TEMPLATE", {width / 2, margin + 16}, 17, 1);
        title.runs.front().weight = FontWeight::semibold;
        title.letterSpacing = 2.5;
        text(fmt::format("{} × {} pt   ·   {} × {} px at 144 DPI", configuration.windowWidth,
                         configuration.windowHeight, 2 * configuration.windowWidth,
                         2 * configuration.windowHeight),
             {width / 2, margin + 38}, 11, 0.7);
    }

    /// Arrow heads at both ends, the distance in the middle.
    void drawDistance(Point from, Point to, double distance) {
        line(from, to, 0.6, 0.75);
        const bool isLevel = from.y == to.y;
        const auto head = [&](Point tip, double direction) {
            constexpr double length = 6, spread = 2.5;
            const double back = direction * length;
            const std::vector<Point> corners =
                isLevel
                    ? std::vector<Point>{tip, {tip.x + back, tip.y - spread}, {tip.x + back, tip.y + spread}}
                    : std::vector<Point>{tip, {tip.x - spread, tip.y + back}, {tip.x + spread, tip.y + back}};
            drawing.shapes.emplace_back(Fill{Path::roundedPolygon(corners, {0, 0, 0}), white(0.8)});
        };
        head(from, 1);
        head(to, -1);
        textOnGround(fmt::format("{} pt", distance), {(from.x + to.x) / 2, (from.y + to.y) / 2}, 10, 48);
    }

    /// The axis on which the icons sit, how far below the top it is, and how much room is between them.
    void drawIconLine() {
        const double size = static_cast<double>(configuration.iconSize);
        const auto [left, right] =
            std::minmax({appIcon(), applicationsLink()}, [](Point a, Point b) { return a.x < b.x; });
        const double gap = right.x - left.x - size;
        line({0, left.y}, {left.x, left.y}, 0.4, 0.75, {8, 3, 2, 3});
        line({right.x, right.y}, {width, right.y}, 0.4, 0.75, {8, 3, 2, 3});
        drawDistance({2 * margin, 0}, {2 * margin, left.y}, left.y);
        if (gap > size && left.y == right.y)
            drawDistance({left.x + size / 2, left.y}, {right.x - size / 2, right.y}, gap);
    }

    void drawPlaceholder(const std::string& name, Point centre) {
        const double size = static_cast<double>(configuration.iconSize);
        const double textSize = static_cast<double>(configuration.textSize);
        const Rectangle icon{centre.x - size / 2, centre.y - size / 2, size, size};
        const Path box = Path::roundedRectangle(icon, size * 0.18);
        drawing.shapes.emplace_back(Fill{box, TemplateView::blueprintBlue});
        drawing.shapes.emplace_back(Fill{box, white(0.10)});
        stroke(box, 0.95, 1.25, {5, 3});
        const double cross = size * 0.08;
        line({centre.x - cross, centre.y}, {centre.x + cross, centre.y}, 0.95, 1);
        line({centre.x, centre.y - cross}, {centre.x, centre.y + cross}, 0.95, 1);
        text(name, {centre.x, centre.y - size * 0.24}, 11, 1);
        text(fmt::format("{}, {}", centre.x, centre.y), {centre.x, centre.y + size * 0.24}, 10, 0.75).design =
            FontDesign::monospaced;

        const double sizeLine = icon.y - 12;
        for (const double x : {icon.x, icon.x + size})
            line({x, sizeLine - 5}, {x, icon.y}, 0.4, 0.75);
        drawDistance({icon.x, sizeLine}, {icon.x + size, sizeLine}, size);

        const Rectangle label{centre.x - size * 0.62, centre.y + size / 2 + 4, size * 1.24, textSize * 2.6};
        const Path zone = Path::roundedRectangle(label, 4);
        drawing.shapes.emplace_back(Fill{zone, white(0.16)});
        stroke(zone, 0.55, 0.75, {2, 2});
        text(fmt::format("Label, {} pt", configuration.textSize), label.centre(), 10, 0.95);
    }

    void drawNote() {
        text("Keep the places of icons and labels calm and light: the Finder writes labels in black.",
             {width / 2, height - margin - 48}, 11, 0.75);
        text("Design over this picture, export it at the same pixel size, then run",
             {width / 2, height - margin - 30}, 11, 0.75);
        text("halvo config set release dmg-background <your-file>", {width / 2, height - margin - 10}, 12, 1)
            .design = FontDesign::monospaced;
    }

    const DMGConfiguration& configuration;
    double width;
    double height;
    Drawing drawing{};
};

} // namespace

Drawing TemplateView::draw() const { return Blueprint(configuration).draw(); }

} // namespace halvo
