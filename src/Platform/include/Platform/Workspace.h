#pragma once

#include <string>

namespace halvo {

/// Hands addresses and files to whatever the desktop opens them with.
class Workspace {
public:
    virtual ~Workspace() = default;
    /// False when nothing could be started for it.
    virtual bool open(const std::string& url) = 0;
};

} // namespace halvo
