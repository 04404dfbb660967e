#pragma once

#include "AppBundle.h"
#include "ProgramFixture.h"

#include <Platform/Clock.h>
#include <Platform/HTTPSession.h>
#include <S3/S3Client.h>
#include <Support/ScriptedTools.h>

#include <optional>

#include <nlohmann/json.hpp>

namespace halvo::test {

/// Runs of `halvo release` with a key that signs, and all that an S3 store on this machine needs. The store
/// itself is started when a test first asks for it, and serves all tests of the process.
class ReleaseTest : public ProgramTest {
protected:
    ReleaseTest();

    /// Runs `halvo release` with `variables`, which hold the key and the destination, and with `changes` to
    /// them: an empty value takes one away.
    Outcome release(const Arguments& arguments, const Variables& changes = {});
    Arguments releaseArguments(const Arguments& arguments) const;
    Variables changed(const Variables& changes) const;

    /// Points `variables` to an empty bucket of the real store.
    void useStore();
    std::optional<std::string> object(const std::string& key) const;
    void putObject(const std::string& key, const std::string& content) const;
    /// The feed as Python's XML parser reads it: an object for each item, in order.
    nlohmann::json feedItems(const std::string& key = "appcast.xml");
    nlohmann::json itemsOf(const std::string& feed);

    /// Points `variables` to a root of tools with these in it, and the real ones that make disk images.
    void useTools(const ScriptedTools& tools);

    SigningKey key = makeSigningKey();
    Variables variables;

private:
    S3Client client() const;

    mutable SystemClock clock{};
    std::unique_ptr<HTTPSession> http = makeSystemHTTPSession();
};

} // namespace halvo::test
