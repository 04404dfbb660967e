#include <Platform/Drawing.h>

#include <cmath>

namespace halvo {
namespace {

/// How far the control points of a quarter of a circle lie from its ends, in radii.
constexpr double quarterCircle = 0.5523;

Point between(Point from, Point to, double part) {
    return {from.x + (to.x - from.x) * part, from.y + (to.y - from.y) * part};
}

} // namespace

Path Path::line(Point from, Point to) { return {{Move{from}, Line{to}}}; }

Path Path::rectangle(const Rectangle& rectangle) { return roundedRectangle(rectangle, 0); }

Path Path::roundedRectangle(const Rectangle& rectangle, double radius) {
    const auto [x, y, width, height] = rectangle;
    return roundedPolygon({{x, y}, {x + width, y}, {x + width, y + height}, {x, y + height}},
                          {radius, radius, radius, radius});
}

Path Path::roundedPolygon(const std::vector<Point>& corners, const std::vector<double>& radii) {
    Path path;
    const std::size_t count = corners.size();
    for (std::size_t index = 0; index < count; ++index) {
        const Point corner = corners[index];
        const Point before = corners[(index + count - 1) % count];
        const Point after = corners[(index + 1) % count];
        const auto towards = [corner, radius = radii[index]](Point neighbour) {
            const double length = std::hypot(neighbour.x - corner.x, neighbour.y - corner.y);
            return length > 0 ? between(corner, neighbour, std::min(radius / length, 0.5)) : corner;
        };
        const Point start = towards(before);
        const Point end = towards(after);
        if (index == 0)
            path.elements.emplace_back(Move{start});
        else
            path.elements.emplace_back(Line{start});
        if (radii[index] > 0)
            path.elements.emplace_back(
                Curve{between(start, corner, quarterCircle), between(end, corner, quarterCircle), end});
    }
    path.elements.emplace_back(Close{});
    return path;
}

} // namespace halvo
