#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <string>

namespace halvo {

struct AppcastEditorCases {
    struct InvalidStructure {
        std::string text{};
        std::string description() const { return "Invalid appcast structure: " + text; }
        bool operator==(const InvalidStructure&) const = default;
    };
    struct ItemNotFound {
        std::int64_t version = 0;
        std::string shortVersionString{};
        std::string description() const {
            return "Item not found: " + shortVersionString + " (" + std::to_string(version) + ")";
        }
        bool operator==(const ItemNotFound&) const = default;
    };
    using Case = std::variant<InvalidStructure, ItemNotFound>;
};

/// A feed without the parts that the editor works on.
using AppcastEditorError = FailureOf<AppcastEditorCases>;

/// Bytes that cannot be taken as a feed at all: XML that is not well formed, declares entities, is nested too
/// deep or is too large.
class AppcastXMLError : public Failure {
public:
    /// `line` counts from 1; 0 when the problem has no place.
    AppcastXMLError(const std::string& problem, int line)
        : Failure("The appcast cannot be used" + (line > 0 ? " (line " + std::to_string(line) + ")" : "") +
                  ": " + problem),
          line(line) {}
    int line;
};

} // namespace halvo
