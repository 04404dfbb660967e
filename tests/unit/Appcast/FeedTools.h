#pragma once

#include <Appcast/AppcastEditor.h>

#include <Platform/Clock.h>

#include <string>

namespace halvo::test {

/// A clock that stands still, at 2026-11-22 09:30:00.75 UTC.
class StoppedClock final : public Clock {
public:
    Date now() const override { return Date(std::chrono::milliseconds(1'795'339'800'750)); }
    std::chrono::steady_clock::time_point steadyNow() const override { return {}; }
    void sleep(std::chrono::milliseconds, const std::stop_token&) override {}
};

/// Sets an environment variable for as long as it lives. The C library is told about a new TZ.
class ScopedVariable {
public:
    ScopedVariable(std::string name, const std::string& value);
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable();

private:
    std::string name;
    std::optional<std::string> previous;
};

/// An editor for "Demo" without the cache buster.
AppcastEditor makeEditor(bool shouldUseCacheBuster = false);
/// A published item of the default channel: version 42, "1.2.3".
AppcastItem makeItem();

std::string upserted(const AppcastItem& item, std::string_view document);
std::vector<AppcastItem> parsed(std::string_view document);
/// The build numbers that `parseItems` gives.
std::vector<std::int64_t> versions(std::string_view document);

/// A feed with these lines in its channel, which stand at four blanks. Binds `sparkle`.
std::string feedWith(std::string_view channelContent);
/// The least of an item that can be read, on one line, without white space in front.
std::string itemText(std::string_view version, std::string_view shortVersionString = "1.0",
                     std::string_view more = "");

/// Fails the test unless xmllint reads the document without complaint.
void expectReadByOthers(std::string_view document);

} // namespace halvo::test
