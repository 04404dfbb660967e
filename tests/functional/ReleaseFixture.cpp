#include "ReleaseFixture.h"

#include <Support/FaultServer.h>
#include <Support/SwiftServer.h>

#include <stdexcept>

namespace halvo::test {
namespace {

constexpr int bucketCount = 100;

std::string bucketName(int index) { return "releases" + std::to_string(index); }

const SwiftServer& sharedStore() {
    static const SwiftServer server([] {
        std::vector<std::string> names;
        for (int index = 0; index < bucketCount; ++index)
            names.push_back(bucketName(index));
        return names;
    }());
    return server;
}

std::string takeBucket() {
    static int taken = 0;
    if (taken == bucketCount)
        throw std::runtime_error("the store has no bucket left");
    return bucketName(taken++);
}

} // namespace

ReleaseTest::ReleaseTest()
    : variables{{"SPARKLE_PRIVATE_KEY", key.secret},
                {"AWS_ACCESS_KEY_ID", SwiftServer::accessKeyID},
                {"AWS_SECRET_ACCESS_KEY", SwiftServer::secretAccessKey},
                {"HALVO_S3_BUCKET", "releases"},
                {"HALVO_S3_REGION", SwiftServer::region},
                {"HALVO_S3_PUBLIC_URL", "https://dl.example.com/files"},
                {"HALVO_S3_ENDPOINT", "http://127.0.0.1:" + std::to_string(unusedPort())}} {
    secrets = {key.secret, SwiftServer::secretAccessKey};
}

Arguments ReleaseTest::releaseArguments(const Arguments& arguments) const {
    Arguments all{"release"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

Variables ReleaseTest::changed(const Variables& changes) const {
    Variables all = changes;
    all.insert(variables.begin(), variables.end());
    return all;
}

Outcome ReleaseTest::release(const Arguments& arguments, const Variables& changes) {
    return run(releaseArguments(arguments), changed(changes));
}

void ReleaseTest::useStore() {
    variables["HALVO_S3_ENDPOINT"] = sharedStore().endpoint();
    variables["HALVO_S3_BUCKET"] = takeBucket();
}

S3Client ReleaseTest::client() const {
    S3Location location{.bucket = variables.at("HALVO_S3_BUCKET"), .region = SwiftServer::region};
    location.endpoint = sharedStore().endpoint();
    return S3Client(location, {SwiftServer::accessKeyID, SwiftServer::secretAccessKey, std::nullopt}, *http,
                    clock, {});
}

std::optional<std::string> ReleaseTest::object(const std::string& name) const {
    const auto stored = client().getObject(name);
    return stored ? std::optional(std::string(viewText(stored->bytes))) : std::nullopt;
}

void ReleaseTest::putObject(const std::string& name, const std::string& content) const {
    client().putObject(name, {.body = viewBytes(content), .contentType = "application/xml"});
}

nlohmann::json ReleaseTest::feedItems(const std::string& name) { return itemsOf(object(name).value()); }

nlohmann::json ReleaseTest::itemsOf(const std::string& feed) {
    const auto file = folder.write("feed.xml", feed);
    return nlohmann::json::parse(
        script("/usr/bin/python3 \"$1\" \"$2\"", {HALVO_FEED_READER, file.string()}));
}

void ReleaseTest::useTools(const ScriptedTools& tools) {
    for (const auto& [name, value] : tools.programVariables())
        variables[name] = value;
    script("cp -R \"$1\" ../root", {variables.at("HALVO_TOOL_ROOT")});
    variables["HALVO_TOOL_ROOT"] = folder / "root";
}

} // namespace halvo::test
