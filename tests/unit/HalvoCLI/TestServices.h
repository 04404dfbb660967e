#pragma once

#include "Output/OutputContext.h"

#include <Platform/FileKeychainItems.h>
#include <Support/FakeClock.h>
#include <Support/FakeProcessRunner.h>
#include <Support/TemporaryFolder.h>
#include <Support/TerminalBuffer.h>

#include <map>
#include <string>

namespace halvo::test {

/// All that a command is given, over buffers and files in a folder of its own.
class TestServices {
public:
    explicit TestServices(std::map<std::string, std::string> variables = {},
                          TerminalDescription terminal = {}, const std::string& typed = "")
        : environment(std::move(variables)), output(std::make_shared<BufferOutput>(terminal)),
          error(std::make_shared<BufferOutput>(terminal)),
          services{.platform = platform,
                   .streams = {output, error, std::make_shared<ScriptedInput>(typed, terminal.interactive)},
                   .standardOutputIsTerminal = terminal.interactive} {}

    TemporaryFolder folder;
    Environment environment;
    FakeClock clock;
    FakeProcessRunner processes;
    FileUserDefaults userDefaults{folder / "settings.json", clock, [](const std::string&) {}};
    FileKeychainItems keychainItems{folder / "keys/keychain.json", clock, [](const std::string&) {}};
    std::unique_ptr<HTTPSession> http = makeSystemHTTPSession();
    std::unique_ptr<ImageServices> images = makeSystemImageServices();
    SystemWorkspace workspace{environment};
    SystemVolumeFacts volumes;
    SilentLog log;
    Platform platform{environment, clock,   processes, userDefaults,  keychainItems, *http, *images,
                      workspace,   volumes, log,       folder.path(), folder.path(), {},    true};
    std::shared_ptr<BufferOutput> output;
    std::shared_ptr<BufferOutput> error;
    Services services;
};

/// A terminal at which a person sits, without colours.
inline TerminalDescription personsTerminal() {
    TerminalDescription terminal;
    terminal.interactive = true;
    return terminal;
}

} // namespace halvo::test
