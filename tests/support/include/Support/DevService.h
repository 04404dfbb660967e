#pragma once

#include <Support/ServerProcess.h>

#include <string>

#include <nlohmann/json_fwd.hpp>

namespace halvo::test {

/// The development service (see tools/dev-service) on 127.0.0.1, with a state of its own that goes with it.
class DevService {
public:
    DevService();

    /// "http://127.0.0.1:PORT", for HALVO_SERVER_URL.
    const std::string& address() const { return process.announcement(); }

    /// Makes an account, past the program, and gives a token for it.
    std::string makeAccount(const std::string& email, const std::string& password, const std::string& name);
    /// The next request that fits goes wrong; tools/dev_service/server.py has the fields, such as
    /// {{"path", "/v1/users"}, {"status", 503}}.
    void injectFault(const nlohmann::json& fault);
    /// Every token given out so far is refused from now on.
    void expireTokens();

private:
    std::string post(const std::string& path, const nlohmann::json& body);

    ServerProcess process;
};

} // namespace halvo::test
