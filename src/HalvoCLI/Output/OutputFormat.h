#pragma once

#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// How a command writes its results: styled text for a person, or one JSON document for a machine.
enum class OutputFormat { text, json };

/// "text" and "json", in this order; absent for anything else.
inline std::optional<OutputFormat> parseOutputFormat(const std::string& text) {
    if (text == "text")
        return OutputFormat::text;
    return text == "json" ? std::optional(OutputFormat::json) : std::nullopt;
}
inline std::vector<std::string> outputFormatNames() { return {"text", "json"}; }

} // namespace halvo
