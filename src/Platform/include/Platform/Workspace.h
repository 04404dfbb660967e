#pragma once

#include <Platform/Environment.h>

#include <string>

namespace halvo {

/// Hands addresses and files to whatever the desktop opens them with.
class Workspace {
public:
    virtual ~Workspace() = default;
    /// Takes a URL (`https:`, `file:`, a scheme of an app's own) and does not wait for what it starts. False
    /// when nothing could be started for it.
    virtual bool open(const std::string& url) = 0;
};

/// The desktop of this system. On Linux: `xdg-open`, looked for along PATH, started in a session of its own
/// with no streams of ours.
class SystemWorkspace final : public Workspace {
public:
    /// `environment` is what the program that opens the URL gets, too.
    explicit SystemWorkspace(const Environment& environment) : environment(environment) {}
    bool open(const std::string& url) override;

private:
    const Environment& environment;
};

} // namespace halvo
