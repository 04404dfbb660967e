#pragma once

#include <Platform/Platform.h>
#include <Platform/SystemProcessRunner.h>

#include <memory>
#include <stop_token>

namespace halvo {

/// The real services of this system. Nothing is opened or read before a command asks for it.
class SystemPlatform {
public:
    explicit SystemPlatform(std::stop_token cancellation);
    SystemPlatform(const SystemPlatform&) = delete;
    SystemPlatform& operator=(const SystemPlatform&) = delete;
    ~SystemPlatform();

    Platform& platform();
    const Environment& environment() const;
    SystemProcessRunner& processes();

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

} // namespace halvo
