#pragma once

#include <Support/ServerProcess.h>

#include <string>
#include <vector>

namespace halvo::test {

/// A strict S3 server (OpenStack Swift, see tools/s3-server) on 127.0.0.1, with a state of its own that goes
/// with it. Takes about two seconds to start, so a test does all its work with one.
class SwiftServer {
public:
    static constexpr const char* accessKeyID = "test:tester";
    static constexpr const char* secretAccessKey = "testing";
    static constexpr const char* region = "us-east-1";

    /// Starts with these buckets; names have three letters or more.
    explicit SwiftServer(const std::vector<std::string>& buckets);

    /// "http://127.0.0.1:PORT".
    const std::string& endpoint() const { return process.announcement(); }

private:
    ServerProcess process;
};

} // namespace halvo::test
