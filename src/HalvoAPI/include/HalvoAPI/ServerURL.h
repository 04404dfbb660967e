#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>
#include <Platform/Environment.h>

namespace halvo {

/// `HALVO_SERVER_URL` names no address that a token may be sent to.
class ServerURLError : public Failure {
public:
    explicit ServerURLError(const std::string& reason);
};

/// The address of the hosted service's API: `HALVO_SERVER_URL`, for self-hosting and tests, or the service's
/// own host. Throws ServerURLError unless it is an https address, or an http one on this very machine, so
/// that a token never travels in clear.
URL serverURL(const Environment& environment);

} // namespace halvo
