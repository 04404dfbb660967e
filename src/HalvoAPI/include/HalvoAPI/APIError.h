#pragma once

#include <Base/Failure.h>

#include <string>
#include <variant>

#include <nlohmann/json_fwd.hpp>

namespace halvo {

/// The body that the service sends with a failure.
struct APIResponse {
    std::string message{};

    bool operator==(const APIResponse&) const = default;
};

void from_json(const nlohmann::json& json, APIResponse& response); ///< throws ModelError

/// An answer of the hosted service that is no success. A transfer that ends without an answer is an
/// HTTPError.
class APIError : public Failure {
public:
    struct BadRequest { ///< status 400
        std::string message{};
        bool operator==(const BadRequest&) const = default;
    };
    struct Unauthorized { ///< status 401: no token, or one that is no longer good
        std::string message{};
        bool operator==(const Unauthorized&) const = default;
    };
    struct PaymentRequired { ///< status 402
        std::string message{};
        bool operator==(const PaymentRequired&) const = default;
    };
    struct Forbidden { ///< status 403
        std::string message{};
        bool operator==(const Forbidden&) const = default;
    };
    struct NotFound { ///< status 404
        std::string message{};
        bool operator==(const NotFound&) const = default;
    };
    struct ClientError { ///< any other status from 405 to 499
        int code = 0;
        std::string message{};
        bool operator==(const ClientError&) const = default;
    };
    struct ServerError { ///< any other status that is no success, redirects included
        int code = 0;
        bool operator==(const ServerError&) const = default;
    };
    struct DecodingError { ///< a success whose body is not the record that belongs there
        bool operator==(const DecodingError&) const = default;
    };
    struct NoResponse { ///< what came back is no HTTP response
        bool operator==(const NoResponse&) const = default;
    };
    using Case = std::variant<BadRequest, Unauthorized, PaymentRequired, Forbidden, NotFound, ClientError,
                              ServerError, DecodingError, NoResponse>;

    explicit APIError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}

    template<typename Type>
    bool is() const {
        return std::holds_alternative<Type>(which);
    }

    Case which;

private:
    static std::string describe(const Case& which);
};

} // namespace halvo
