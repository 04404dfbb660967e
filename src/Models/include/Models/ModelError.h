#pragma once

#include <Base/Failure.h>

#include <cstddef>
#include <string>
#include <variant>

namespace halvo {

/// JSON that does not describe the record that was asked for. The description names the place and never
/// quotes what stood there, since records can hold secrets.
class ModelError : public Failure {
public:
    /// A required key is not there, or is null.
    struct Missing {};
    /// The value is not what belongs there; `expected` reads like "a string".
    struct Mismatch {
        std::string expected;
    };
    /// The object of a tagged record must have exactly one key, the name of its case.
    struct KeyCount {};
    using Case = std::variant<Missing, Mismatch, KeyCount>;

    explicit ModelError(Case problem, std::string keyPath = {});

    /// The same error, seen from the object that has the value under `key`.
    ModelError insideKey(const std::string& key) const;
    /// The same error, seen from the list that has the value at `index`.
    ModelError insideElement(std::size_t index) const;

    Case which;
    std::string path; ///< from the outermost record, as in `releases[2].version`; empty for the record itself

private:
    ModelError inside(std::string step) const;
    static std::string describe(const Case& which, const std::string& path);
};

} // namespace halvo
