#pragma once

#include <Platform/SystemProcessRunner.h>
#include <Support/TemporaryFolder.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo::test {

using Variables = std::map<std::string, std::string>;

/// What a run of the program came to.
struct Outcome {
    int status = 0;       ///< the exit status; the negative number of the signal that ended it
    std::string output{}; ///< standard output
    std::string error{};  ///< standard error
};

/// Runs the built program in a home of its own, with an environment that holds nothing of the developer's but
/// PATH. Behind every run nothing may be left in the temporary folder, and no secret of the test may stand in
/// an output, unless the test says otherwise.
class ProgramTest : public testing::Test {
protected:
    ProgramTest();

    /// Runs `halvo` with `work` as its directory; `variables` come on top of the environment.
    Outcome run(const Arguments& arguments, const Variables& variables = {}, const std::string& prelude = "");
    /// Starts it in a process group of its own, from a shell that runs `prelude` first. `finish` waits for
    /// it.
    std::unique_ptr<RunningProcess> start(const Arguments& arguments, const Variables& variables = {},
                                          const std::string& prelude = "");
    Outcome finish(RunningProcess& process);

    /// Runs a script of /bin/sh in `work`, with its arguments as $1, $2 ..., and gives what it printed
    /// without the last line break. Throws std::runtime_error when it fails.
    std::string script(const std::string& text, const Arguments& arguments = {});

    /// A key pair in the forms that the program takes, the public half derived by openssl.
    struct SigningKey {
        std::string secret{};    ///< base64 of the seed
        std::string publicKey{}; ///< base64 of the 32 bytes
    };
    SigningKey makeSigningKey(char seed = 'k');
    /// Whether openssl finds the base64 signature of a file valid.
    bool opensslVerifies(const std::filesystem::path& file, const std::string& signature,
                         const SigningKey& key);
    /// Files an item the way the program does where a system has no keychain.
    void storeInKeychain(const std::string& domain, const std::string& service, const std::string& data,
                         const std::string& protocol = "");

    std::vector<std::filesystem::path> temporaryFiles() const;

    TemporaryFolder folder;
    const std::filesystem::path work = folder / "work";
    const std::filesystem::path home = folder / "home";
    const std::filesystem::path temporary = folder / "tmp";
    std::vector<std::string> secrets{};  ///< that no output may hold
    bool mayLeaveTemporaryFiles = false; ///< for a run that is to keep what it made

private:
    const Environment environment;
    SystemProcessRunner processes;
};

} // namespace halvo::test
