#include <Platform/Log.h>

#include <syslog.h>

namespace halvo {
namespace {

int priority(LogLevel level) {
    switch (level) {
    case LogLevel::debug: return LOG_DEBUG;
    case LogLevel::info: return LOG_INFO;
    case LogLevel::notice: return LOG_NOTICE;
    case LogLevel::error: return LOG_ERR;
    case LogLevel::fault: return LOG_CRIT;
    }
    return LOG_NOTICE;
}

} // namespace

SystemLog::SystemLog(bool debug) : debug(debug) { ::openlog("halvo", LOG_PID, LOG_USER); }

void SystemLog::write(LogLevel level, std::string_view component, std::string_view message) {
    if (level == LogLevel::debug && !debug)
        return;
    ::syslog(priority(level), "%.*s: %.*s", static_cast<int>(component.size()), component.data(),
             static_cast<int>(message.size()), message.data());
}

} // namespace halvo
