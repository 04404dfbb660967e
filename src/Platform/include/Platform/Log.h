#pragma once

#include <string>
#include <string_view>

namespace halvo {

enum class LogLevel { debug, info, notice, error, fault };

/// What stands in a message in place of a value that readers of the log must not see.
inline constexpr std::string_view privateValue = "<private>";

/// The system's unified log. Terminal output is never logging, and a secret is never logged, private or not.
class Log {
public:
    virtual ~Log() = default;
    /// `component` names who speaks, such as "S3Uploader".
    virtual void write(LogLevel level, std::string_view component, std::string_view message) = 0;
};

/// syslog(3), so that journald has it. Debug messages go out only when `debug` is set.
class SystemLog final : public Log {
public:
    explicit SystemLog(bool debug = false);
    void write(LogLevel level, std::string_view component, std::string_view message) override;

private:
    bool debug;
};

/// Writes nothing.
class SilentLog final : public Log {
public:
    void write(LogLevel, std::string_view, std::string_view) override {}
};

} // namespace halvo
