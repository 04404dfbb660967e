#pragma once

#include <Platform/ProcessRunner.h>

#include <string>

#include <sys/types.h>

namespace halvo::test {

/// A run of /bin/sh with a script; its further arguments are $1, $2 ...
ProcessRequest shell(std::string script, Arguments arguments = {});

/// Whether a process of that number exists and is not a zombie.
bool isAlive(pid_t process);

/// Polls for up to `limit`, since a killed process needs a moment to vanish. Whether it is gone.
bool vanishes(pid_t process, std::chrono::milliseconds limit = std::chrono::seconds(5));

/// Waits until a file has text and gives it without its last line break; empty when it never has.
std::string awaitText(const std::string& path, std::chrono::milliseconds limit = std::chrono::seconds(10));

} // namespace halvo::test
