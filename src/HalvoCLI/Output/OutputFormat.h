#pragma once

#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// How a command writes its results: styled text for a person, or one JSON document for a machine.
enum class OutputFormat { text, json };

/// "text" and "json", in this order; absent for anything else.
std::optional<OutputFormat> parseOutputFormat(const std::string& text);
const std::vector<std::string>& outputFormatNames();

} // namespace halvo
