#pragma once

#include <Base/Failure.h>

#include <string>

namespace halvo {

/// A request that an S3 store refused, or answered with something that is no S3 response. An exchange without
/// any response is an HTTPError.
class S3Error : public Failure {
public:
    struct Details {
        std::string code{};      ///< such as "NoSuchKey"; made from the status where the answer names none
        std::string message{};   ///< the store's sentence, and what to do where that is known
        int status = 0;          ///< of HTTP; 0 when nothing was sent. An error can come with 200
        std::string requestID{}; ///< for the store's support; empty when not given
        std::string operation{}; ///< such as "PutObject"
        std::string bucket{};
        std::string key{};        ///< empty for operations on the bucket
        bool isTemporary = false; ///< trying again may help
    };

    explicit S3Error(Details details) : Failure(describe(details)), details(std::move(details)) {}

    /// The object is not there, as opposed to a bucket or a store that is not there.
    bool isMissingObject() const;
    /// The condition of a request does not hold: somebody else wrote the object meanwhile.
    bool isConflict() const;
    /// The store does not know what was asked of it.
    bool isNotImplemented() const;

    Details details;

private:
    /// "NoSuchKey: The specified key does not exist. (GetObject demo/appcast.xml, status 404, request id
    /// 4442587)"
    static std::string describe(const Details& details);
};

} // namespace halvo
