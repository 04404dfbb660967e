#pragma once

#include <Base/Failure.h>
#include <Models/Release.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace halvo {

class ReleaseRepositoryError : public Failure {
public:
    struct ReleaseNotFound {
        std::int64_t version = 0;
        std::string shortVersionString{};
    };
    struct NetworkError {
        std::string description{};
    };
    struct ParseError {
        std::string text{};
    };
    using Case = std::variant<ReleaseNotFound, NetworkError, ParseError>;
    explicit ReleaseRepositoryError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

/// The releases of one app, wherever they are kept.
class ReleaseRepository {
public:
    virtual ~ReleaseRepository() = default;
    virtual std::vector<Release> list() = 0;
    /// Takes over what can be edited of a release that exists, and gives the release as it is then.
    virtual Release update(const Release& release) = 0;
    virtual void remove(const Release& release) = 0;
};

} // namespace halvo
