#pragma once

#include <Platform/Descriptor.h>

#include <Platform/Environment.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>

#include <sys/types.h>

namespace halvo {

/// A child that has just been started, with our ends of its output pipes (non-blocking).
struct SpawnedChild {
    pid_t pid = 0;
    Descriptor standardOutput{};
    Descriptor standardError{};
};

/// Starts `executable` with what the request says. Throws ProcessError.
SpawnedChild spawn(const std::filesystem::path& executable, const ProcessRequest& request,
                   const Environment& environment);

/// Starts a program that outlives this one: in a session of its own, without streams, adopted by init. False
/// when it cannot be started.
bool spawnDetached(const std::filesystem::path& executable, const Arguments& arguments,
                   const Environment& environment);

} // namespace halvo
