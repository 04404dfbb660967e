#pragma once

#include <Platform/Clock.h>
#include <Platform/Environment.h>
#include <Platform/HTTPSession.h>
#include <Platform/ImageServices.h>
#include <Platform/KeychainItems.h>
#include <Platform/Log.h>
#include <Platform/ProcessRunner.h>
#include <Platform/UserDefaults.h>
#include <Platform/VolumeFacts.h>
#include <Platform/Workspace.h>

#include <filesystem>
#include <stop_token>

namespace halvo {

/// Everything that the program has from the operating system, made once in `main` and handed down. Code below
/// `main` reads no environment variable and no clock on its own.
struct Platform {
    const Environment& environment;
    Clock& clock;
    ProcessRunner& processes;
    UserDefaults& userDefaults;
    KeychainItems& keychainItems;
    HTTPSession& http;
    ImageServices& images;
    Workspace& workspace;
    const VolumeFacts& volumes;
    Log& log;
    std::filesystem::path temporaryDirectory; ///< `TMPDIR`, or the system's
    std::filesystem::path homeDirectory;
    std::stop_token cancellation;       ///< requested by Ctrl-C and SIGTERM; every blocking call is given it
    bool hasDiskImageTools = false;     ///< hdiutil is here
    std::filesystem::path executable{}; ///< the running program, links resolved; empty when it cannot be told
};

} // namespace halvo
