#include "ReleaseFixture.h"

#include <Support/DevService.h>
#include <Support/Shell.h>

namespace halvo::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string identity = "Developer ID Application: Jane Doe (ABCDE12345)";
const Variables notaryKey{
    {"ASC_API_KEY_ID", "KEY1"}, {"ASC_API_ISSUER", "issuer-1"}, {"ASC_API_KEY", "cDgga2V5"}};

struct Input {
    const char* name;
    const char* make; ///< a script with the program as $1 and the scripted tools as $2; Demo.app is there
    Arguments arguments;
    const char* extension; ///< of the artefact
    bool exported = false; ///< out of an archive
};

constexpr const char* makeNothing = "";
const Arguments signing{"--codesign-identity", identity};

Arguments signedInput(Arguments arguments) {
    arguments.insert(arguments.end(), signing.begin(), signing.end());
    return arguments;
}

const std::vector<Input> inputs{
    {"app", makeNothing, {"Demo.app"}, "zip"},
    {"signedApp", makeNothing, signedInput({"Demo.app"}), "dmg"},
    {"zip", "zip -qry Mine.zip Demo.app", {"Mine.zip", "--skip-notarization"}, "zip"},
    {"dmg",
     "HOME=. \"$1\" create-dmg Demo.app --skip-notarization --output Mine.dmg; rm -r Demo.app",
     {"Mine.dmg"},
     "dmg"},
    {"archive",
     "mkdir calls; SCRIPTED_TOOLS=calls \"$2/usr/bin/xcodebuild\" archive -archivePath Demo.xcarchive",
     signedInput({"Demo.xcarchive"}), "dmg", true},
    {"project", "mkdir Demo.xcodeproj", signedInput({"Demo.xcodeproj", "--scheme", "Demo"}), "dmg", true},
    {"workspace", "mkdir Demo.xcworkspace", signedInput({"Demo.xcworkspace", "--scheme", "Demo"}), "dmg",
     true}};

enum class Destination { storedBucket, givenBucket, service, folder };
const std::vector<const char*> destinationNames{"StoredBucket", "GivenBucket", "Service", "Folder"};

using Cell = std::tuple<std::size_t, Destination, bool>;

/// Every input to every destination in every format, with Apple's tools scripted and all else real.
class ReleaseMatrix : public ReleaseTest, public testing::WithParamInterface<Cell> {
protected:
    const Input& input = inputs[std::get<0>(GetParam())];
    const Destination destination = std::get<1>(GetParam());
    const bool inJSON = std::get<2>(GetParam());

    ReleaseMatrix() {
        AppBundle().writeTo(work);
        useTools(tools);
        variables.insert(notaryKey.begin(), notaryKey.end());
        secrets.emplace_back("p8 key");
        tools.script("codesign -dvv", {"[]"}); // no Developer ID signed it yet
        prepareDestination();
        script(input.make, {HALVO_PROGRAM, variables.at("HALVO_TOOL_ROOT")});
    }

    bool isBucket() const {
        return destination == Destination::storedBucket || destination == Destination::givenBucket;
    }

    void prepareDestination() {
        arguments = input.arguments;
        if (isBucket())
            useStore();
        if (destination == Destination::folder)
            arguments.insert(arguments.end(), {"--output", "out"});
        if (destination == Destination::storedBucket)
            setUp({"--hosting", "s3", "--s3-access-key-id", variables.at("AWS_ACCESS_KEY_ID"),
                   "--s3-secret-access-key", variables.at("AWS_SECRET_ACCESS_KEY")});
        if (destination == Destination::service) {
            service.emplace();
            variables["HALVO_SERVER_URL"] = service->address();
            variables["HALVO_TOKEN"] = service->makeAccount("ann@example.com", "some password", "Ann");
            secrets.push_back(variables["HALVO_TOKEN"]);
            setUp({"--hosting", "halvo"});
        }
    }

    /// Sets the app up with its key. From then on only the keychain has the secrets.
    void setUp(Arguments options) {
        options.insert(options.begin(), {"setup", "Demo.app", "--sparkle-key", key.secret});
        ASSERT_THAT(run(options, variables).output, HasSubstr("Setup complete!"));
        for (const char* name : {"AWS_ACCESS_KEY_ID", "AWS_SECRET_ACCESS_KEY", "SPARKLE_PRIVATE_KEY"})
            variables.erase(name);
    }

    std::string fetch(const std::string& address) const {
        const HTTPResponse answer = makeSystemHTTPSession()->send({.method = "GET", .url = address}, {});
        EXPECT_EQ(answer.status, 200) << address;
        return std::string(answer.text());
    }

    /// The artefact at the destination, which must be the one that the feed there names and signs.
    std::string delivered() {
        const std::string extension = input.extension;
        if (destination == Destination::folder)
            return readText(work / ("out/Demo-1.2." + extension));
        const json items = isBucket()
                               ? feedItems()
                               : itemsOf(fetch(service->address() + "/v1/apps/com.example.demo/appcast.xml"));
        EXPECT_EQ(items.size(), 1U);
        const json& item = items.at(0);
        EXPECT_EQ(item.at("sparkle:version"), "7");
        const std::string url = item.at("url");
        std::string artefact;
        if (isBucket()) {
            const std::string name = "Demo-1.2-7." + extension;
            EXPECT_THAT(url, StartsWith("https://dl.example.com/files/" + name + "?v="));
            artefact = object(name).value();
            EXPECT_EQ(object("Demo." + extension), artefact);
        } else
            artefact = fetch(url);
        EXPECT_EQ(item.at("length"), std::to_string(artefact.size()));
        EXPECT_TRUE(opensslVerifies(folder.write("artefact", artefact), item.at("sparkle:edSignature"), key));
        return artefact;
    }

    void expectReport(const Outcome& outcome, std::size_t size) const {
        const bool local = destination == Destination::folder;
        for (const char* step : {" App metadata extracted", " Build artifact ready"})
            EXPECT_THAT(outcome.error, HasSubstr(step));
        const std::string success = local ? "\nSuccess: Artifact built successfully.\n"
                                          : "\nSuccess: New release of Demo has been successfully uploaded" +
                                                std::string(isBucket() ? " to S3" : "") + ".\n";
        EXPECT_THAT(inJSON ? outcome.error : outcome.output, HasSubstr(success));
        if (inJSON)
            return expectDocument(outcome.output, size);
        EXPECT_THAT(outcome.output, HasSubstr(success + (local ? "Build" : "Release") +
                                              " Summary\nBundle ID: com.example.demo\nVersion: 1.2 (7)\n"));
    }

    void expectDocument(const std::string& output, std::size_t size) const {
        EXPECT_EQ(std::ranges::count(output, '\n'), 1);
        EXPECT_THAT(output, EndsWith("}\n"));
        const json document = json::parse(output);
        std::vector<std::string> keys;
        for (const auto& entry : document.items())
            keys.push_back(entry.key());
        if (destination == Destination::folder) {
            EXPECT_THAT(keys, ElementsAre("bundleIdentifier", "fileSize", "format", "name", "path", "version",
                                          "versionString"));
            EXPECT_EQ(document.at("fileSize"), size);
            EXPECT_EQ(document.at("format"), input.extension);
            return;
        }
        EXPECT_THAT(keys, ElementsAre("app", "latestDownloadURL", "release"));
        EXPECT_EQ(document.at("app"), json({{"name", "Demo"}, {"bundleIdentifier", "com.example.demo"}}));
        EXPECT_EQ(document.at("release").at("fileSize"), size);
        EXPECT_EQ(document.at("release").at("bundleVersion"), 7);
    }

    /// What was asked of Apple's tools: the app signed, the image notarized and stapled, and nothing for a
    /// ZIP.
    void expectToolCalls() const {
        const bool image = std::string_view(input.extension) == "dmg";
        const auto submitted = tools.argumentsOf("notarytool submit");
        ASSERT_THAT(submitted, testing::SizeIs(image ? 1 : 0));
        if (image) {
            const std::string& file = submitted[0].at(2);
            EXPECT_THAT(file, EndsWith(".dmg"));
            EXPECT_THAT(tools.argumentsOf("stapler staple"),
                        ElementsAre(ElementsAre("stapler", "staple", file)));
        }
        const bool signs = std::string_view(input.name) == "signedApp";
        EXPECT_THAT(tools.argumentsOf("codesign --sign"), testing::SizeIs(signs ? 1 : 0));
        std::string exportOptions;
        for (const ScriptedCall& call : tools.calls()) {
            exportOptions += call.exportOptions;
            if (call.command == "codesign --sign") {
                EXPECT_THAT(call.arguments, testing::Contains(identity));
            }
            if (call.key) {
                EXPECT_FALSE(std::filesystem::exists(call.key->path));
            }
        }
        EXPECT_EQ(exportOptions.find("<string>" + identity + "</string>") != std::string::npos,
                  input.exported);
    }

    /// What is in it, as the tools of the format see it.
    void expectApp(const std::string& artefact) {
        const std::string extension = input.extension;
        const auto file = folder.write("opened." + extension, artefact);
        script(
            extension == "zip"
                ? "unzip -tq \"$1\" && unzip -l \"$1\" Demo.app/Contents/Info.plist"
                : "7zz t \"$1\" && 7zz l -ba \"$1\" >list && grep -q Demo/Demo.app/Contents/Info.plist list && "
                  "grep -q Demo/.DS_Store list && rm list",
            {file.string()});
    }

    ScriptedTools tools;
    std::optional<DevService> service;
    Arguments arguments;
};

TEST_P(ReleaseMatrix, delivers) {
    if (inJSON)
        arguments.insert(arguments.end(), {"--format", "json"});
    const Variables changes{{destination == Destination::givenBucket ? "" : "HALVO_S3_BUCKET", ""}};
    const Outcome outcome = release(arguments, changes);
    ASSERT_EQ(outcome.status, 0) << outcome.output << outcome.error;
    const std::string artefact = delivered();
    expectReport(outcome, artefact.size());
    expectToolCalls();
    expectApp(artefact);
    for (const pid_t process : tools.processNumbers())
        EXPECT_TRUE(vanishes(process));
    for (const char* own : {"Mine.zip", "Mine.dmg"})
        if (std::filesystem::exists(work / own)) {
            EXPECT_EQ(readText(work / own), artefact);
        }
}

std::string cellName(const testing::TestParamInfo<Cell>& cell) {
    const auto& [row, destination, inJSON] = cell.param;
    return std::string(inputs[row].name) + "To" + destinationNames[static_cast<std::size_t>(destination)] +
           (inJSON ? "InJSON" : "InText");
}

INSTANTIATE_TEST_SUITE_P(Release, ReleaseMatrix,
                         testing::Combine(testing::Range<std::size_t>(0, inputs.size()),
                                          testing::Values(Destination::storedBucket, Destination::givenBucket,
                                                          Destination::service, Destination::folder),
                                          testing::Bool()),
                         cellName);

} // namespace
} // namespace halvo::test
