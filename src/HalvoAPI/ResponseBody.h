#pragma once

#include <Base/Bytes.h>

#include <nlohmann/json.hpp>

namespace halvo {

/// The JSON of an answer's body. What is not JSON is a discarded value, which no record accepts. What is
/// nested deeper than any record is left out, so that a hostile body costs no more memory than an honest one.
inline nlohmann::json parseBody(ByteView body) {
    constexpr int deepest = 32;
    const auto keeps = [](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
        return depth < deepest;
    };
    return nlohmann::json::parse(body.begin(), body.end(), keeps, false);
}

} // namespace halvo
