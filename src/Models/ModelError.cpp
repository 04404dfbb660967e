#include <Models/ModelError.h>

namespace halvo {

ModelError::ModelError(Case problem, std::string keyPath)
    : Failure(describe(problem, keyPath)), which(std::move(problem)), path(std::move(keyPath)) {}

ModelError ModelError::insideKey(const std::string& key) const { return inside(key); }

ModelError ModelError::insideElement(std::size_t index) const {
    return inside("[" + std::to_string(index) + "]");
}

ModelError ModelError::inside(std::string step) const {
    if (!path.empty() && !path.starts_with('['))
        step += '.';
    return ModelError(which, step + path);
}

std::string ModelError::describe(const Case& which, const std::string& path) {
    const std::string subject = path.empty() ? "The record" : path;
    if (std::holds_alternative<Missing>(which))
        return subject + " is missing.";
    if (const auto* mismatch = std::get_if<Mismatch>(&which))
        return subject + " is not " + mismatch->expected + ".";
    const std::string text = "Invalid number of keys found, expected one.";
    return path.empty() ? text : path + ": " + text;
}

} // namespace halvo
