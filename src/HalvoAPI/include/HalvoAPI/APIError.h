#pragma once

#include <Base/Failure.h>

#include <string>
#include <variant>

namespace halvo {

/// An answer of the hosted service that is not a success. A transfer that ends without an answer is an
/// HTTPError.
struct APICases {
    struct BadRequest { ///< status 400
        std::string message{};
        std::string description() const { return message; }
        bool operator==(const BadRequest&) const = default;
    };
    struct Unauthorized { ///< status 401: no token, or one that is no longer good
        std::string message{};
        std::string description() const { return message; }
        bool operator==(const Unauthorized&) const = default;
    };
    struct PaymentRequired { ///< status 402
        std::string message{};
        std::string description() const { return message; }
        bool operator==(const PaymentRequired&) const = default;
    };
    struct Forbidden { ///< status 403
        std::string message{};
        std::string description() const { return message; }
        bool operator==(const Forbidden&) const = default;
    };
    struct NotFound { ///< status 404
        std::string message{};
        std::string description() const { return message; }
        bool operator==(const NotFound&) const = default;
    };
    struct ClientError { ///< any other status from 405 to 499
        int code = 0;
        std::string message{};
        std::string description() const { return message + " (" + std::to_string(code) + ")"; }
        bool operator==(const ClientError&) const = default;
    };
    struct ServerError { ///< any other status that is not a success, redirects included
        int code = 0;
        std::string description() const {
            return "A server error with the code " + std::to_string(code) + " occurred.";
        }
        bool operator==(const ServerError&) const = default;
    };
    struct DecodingError { ///< a success whose body is not the record that belongs there
        std::string description() const { return "There was an error when decoding the response."; }
        bool operator==(const DecodingError&) const = default;
    };
    struct NoResponse { ///< what came back is not an HTTP response
        std::string description() const { return "The server did not respond."; }
        bool operator==(const NoResponse&) const = default;
    };
    using Case = std::variant<BadRequest, Unauthorized, PaymentRequired, Forbidden, NotFound, ClientError,
                              ServerError, DecodingError, NoResponse>;
};
using APIError = FailureOf<APICases>;

} // namespace halvo
