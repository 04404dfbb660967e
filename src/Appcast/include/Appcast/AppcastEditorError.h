#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <string>
#include <variant>

namespace halvo {

/// A feed without the parts that the editor works on.
class AppcastEditorError : public Failure {
public:
    struct InvalidStructure {
        std::string text{};
        bool operator==(const InvalidStructure&) const = default;
    };
    struct ItemNotFound {
        std::int64_t version = 0;
        std::string shortVersionString{};
        bool operator==(const ItemNotFound&) const = default;
    };
    using Case = std::variant<InvalidStructure, ItemNotFound>;

    explicit AppcastEditorError(Case which) : Failure(describe(which)), which(std::move(which)) {}

    Case which;

private:
    static std::string describe(const Case& which);
};

/// Bytes that cannot be taken as a feed at all: XML that is not well formed, declares entities, is nested too
/// deep or is too large.
class AppcastXMLError : public Failure {
public:
    /// `line` counts from 1; 0 when the problem has no place.
    AppcastXMLError(const std::string& problem, int line);
    int line;
};

} // namespace halvo
