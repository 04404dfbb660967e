#include <Support/SwiftServer.h>

#include <cstdlib>

namespace halvo::test {
namespace {

std::vector<std::string> commandLine(const std::vector<std::string>& buckets) {
    std::vector<std::string> arguments{HALVO_TOOLS "/s3-server"};
    for (const std::string& bucket : buckets)
        arguments.insert(arguments.end(), {"--bucket", bucket});
    return arguments;
}

} // namespace

SwiftServer::SwiftServer(const std::vector<std::string>& buckets) : process(commandLine(buckets), "ready ") {
    // A proxy that is set on the developer's machine must not come between a test and its server.
    ::setenv("no_proxy", "127.0.0.1,localhost", 1);
}

} // namespace halvo::test
