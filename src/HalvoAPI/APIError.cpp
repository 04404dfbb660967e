#include <HalvoAPI/APIError.h>

#include <Models/JSONFields.h>

namespace halvo {
namespace {

struct Describer {
    std::string operator()(const APIError::ClientError& error) const {
        return error.message + " (" + std::to_string(error.code) + ")";
    }
    std::string operator()(const APIError::ServerError& error) const {
        return "A server error with the code " + std::to_string(error.code) + " occurred.";
    }
    std::string operator()(const APIError::DecodingError&) const {
        return "There was an error when decoding the response.";
    }
    std::string operator()(const APIError::NoResponse&) const { return "The server did not respond."; }
    std::string operator()(const auto& error) const { return error.message; }
};

} // namespace

void from_json(const nlohmann::json& json, APIResponse& response) {
    FieldReader(json).required("message", response.message);
}

std::string APIError::describe(const Case& which) { return std::visit(Describer(), which); }

} // namespace halvo
