#include "ServiceFailure.h"

namespace halvo {

CLIError reportOf(const APIError& error) {
    if (error.is<APIError::Unauthorized>())
        return CLIError::notAuthenticated();
    return {"api_error", "API error: " + error.description()};
}

void requireToken(DependencyContainer& services) {
    if (!services.tokenController().getToken())
        throw CLIError::notAuthenticated();
}

} // namespace halvo
