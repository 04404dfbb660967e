#pragma once

#include <HalvoAPI/APIClient.h>
#include <Support/FaultServer.h>
#include <Support/RecordingLog.h>

namespace halvo::test {

struct FixedToken final : TokenProviding {
    std::optional<std::string> getToken() override { return token; }
    std::optional<std::string> token = "hunter2";
};

/// A service that follows a script, and a client of it.
struct ScriptedService {
    explicit ScriptedService(std::vector<ServerReply> script, APITimeLimits limits = {})
        : server(std::move(script)),
          client(*URL::parse(server.url("/base")), token, *http, log, source.get_token(), {}, limits) {}

    FaultServer server;
    FixedToken token;
    RecordingLog log;
    std::stop_source source;
    std::unique_ptr<HTTPSession> http = makeSystemHTTPSession();
    APIClient client;
};

} // namespace halvo::test
