#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace halvo::test {

/// What a person would see: a screen that obeys the few escape sequences that the terminal kit sends, and
/// fails on any other.
class ScreenEmulator {
public:
    ScreenEmulator(std::size_t width, std::size_t height) : width(width), height(height) {}

    void feed(std::string_view bytes);
    /// Lines without blanks at their ends, and without empty lines at the end.
    std::string text() const;
    bool cursorVisible() const { return visible; }

private:
    std::size_t consume(std::string_view bytes);
    void obey(std::string_view parameters, char final);
    void put(std::string_view character);
    void moveTo(std::size_t newRow);

    std::size_t width;
    std::size_t height;
    std::vector<std::vector<std::string>> rows{1};
    std::size_t row = 0;
    std::size_t column = 0;
    bool visible = true;
    std::string pending; ///< the start of a sequence that is not complete
};

} // namespace halvo::test
