#include <Support/DevService.h>

#include <Platform/HTTPSession.h>

#include <cstdlib>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace halvo::test {

DevService::DevService() : process({HALVO_TOOLS "/dev-service", "--allow-faults"}, "ready ") {
    // A proxy that is set on the developer's machine must not come between a test and its service.
    ::setenv("no_proxy", "127.0.0.1,localhost", 1);
}

std::string DevService::makeAccount(const std::string& email, const std::string& password,
                                    const std::string& name) {
    const std::string answer =
        post("/v1/users/register", {{"email", email}, {"password", password}, {"name", name}});
    return nlohmann::json::parse(answer).at("token").get<std::string>();
}

void DevService::injectFault(const nlohmann::json& fault) { post("/faults", fault); }

void DevService::expireTokens() { post("/faults/expire-tokens", nlohmann::json::object()); }

std::string DevService::post(const std::string& path, const nlohmann::json& body) {
    const std::string text = body.dump();
    const HTTPResponse response = makeSystemHTTPSession()->send(
        {.method = "POST", .url = address() + path, .body = viewBytes(text), .hasBody = true}, {});
    if (response.status >= 300)
        throw std::runtime_error("the development service refused " + path + ": " +
                                 std::string(response.text()));
    return std::string(response.text());
}

} // namespace halvo::test
