#pragma once

#include <Platform/Log.h>

#include <mutex>
#include <string>
#include <vector>

namespace halvo::test {

/// Keeps what is logged at one level or above.
class RecordingLog final : public Log {
public:
    explicit RecordingLog(LogLevel least = LogLevel::error) : least(least) {}
    void write(LogLevel level, std::string_view, std::string_view message) override {
        const std::lock_guard lock(mutex);
        if (level >= least)
            messages.emplace_back(message);
    }
    std::vector<std::string> messages;

private:
    LogLevel least;
    std::mutex mutex;
};

} // namespace halvo::test
