#include "Output/JSONOutput.h"

#include <nlohmann/json.hpp>

namespace halvo::JSONOutput {

std::string encode(const nlohmann::json& document, Layout layout) {
    return document.dump(layout == Layout::pretty ? 2 : -1, ' ', false,
                         nlohmann::json::error_handler_t::replace);
}

} // namespace halvo::JSONOutput
