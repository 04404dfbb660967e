#pragma once

#include "DependencyContainer.h"
#include "Output/CLIError.h"

#include <HalvoAPI/APIError.h>

#include <utility>

namespace halvo {

/// What a failure of the hosted service is reported as: `not_authenticated` when there is no token or the
/// service refuses it, else `api_error`.
CLIError reportOf(const APIError& error);

/// Throws the CLIError `not_authenticated` when there is no token, which is known without asking the service.
void requireToken(DependencyContainer& services);

/// Gives what `operation` gives. A client that is not authenticated becomes the CLIError `not_authenticated`;
/// everything else passes through.
template<typename Operation>
decltype(auto) requireLogin(Operation&& operation) {
    try {
        return std::forward<Operation>(operation)();
    } catch (const APIError& error) {
        if (error.is<APIError::Unauthorized>())
            throw CLIError::notAuthenticated();
        throw;
    }
}

} // namespace halvo
