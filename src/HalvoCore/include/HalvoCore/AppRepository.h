#pragma once

#include <Base/Failure.h>
#include <Base/UUID.h>

#include <string>
#include <variant>
#include <vector>

namespace halvo {

class AppRepositoryError : public Failure {
public:
    struct AppNotFound {
        UUID id{};
    };
    struct NetworkError {
        std::string description{};
    };
    struct StorageError {
        std::string text{};
    };
    using Case = std::variant<AppNotFound, NetworkError, StorageError>;
    explicit AppRepositoryError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

/// The apps of one kind, wherever they are kept.
template<typename AppType>
class AppRepository {
public:
    virtual ~AppRepository() = default;
    virtual std::vector<AppType> list() = 0;
    virtual AppType fetch(const std::string& bundleIdentifier) = 0;
    virtual AppType create(const AppType& app) = 0;
    virtual AppType update(const AppType& app) = 0;
    virtual void remove(const AppType& app) = 0;
};

} // namespace halvo
