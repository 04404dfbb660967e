#include <Models/CompanionRecords.h>
#include <Models/JSONFields.h>
#include <Models/ReleaseSettings.h>
#include <Models/ReleaseState.h>
#include <Models/User.h>
#include <Models/XcodeBuildConfiguration.h>
#include <Support/Thrown.h>

#include <algorithm>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using nlohmann::json;

const UUID id = UUID::parse("6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E").value();

const json releaseJSON = json::parse(R"json({
    "id": "6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E", "title": "2.1.0 (42)", "bundleVersion": 9007199254740993,
    "bundleVersionString": "2.1.0", "releaseNotes": "- Fixes", "minimumSystemVersion": "13.0",
    "fileSize": 5000000000, "downloadURL": "https://x/a.dmg", "channel": "beta", "isPhasedRollout": true,
    "isCritical": false, "isPublished": true, "createdAt": 817032605.25, "updatedAt": 0.0
})json");

const json localJSON = json::parse(R"json({
    "id": "6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E", "bundleIdentifier": "com.example.demo",
    "edDSAPublicKey": "a2V5", "iconURL": "https://x/i.png", "name": "Demo",
    "storage": {"s3": {"_0": {"bucket": "b", "region": "auto", "endpoint": "http://127.0.0.1:9000",
        "pathPrefix": "apps/x", "publicBaseURL": "https://cdn.example.com", "appcastPath": "appcast.xml"}}}})json");

const json serverJSON = [] {
    json value = json::parse(R"json({
        "id": "6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E", "name": "Demo", "bundleIdentifier": "com.example.demo",
        "edDSAPublicKey": "a2V5", "fullReleaseNotesURL": "https://x/notes", "iconURL": "https://x/i.png",
        "appcastURL": "https://x/appcast.xml", "customDomain": "x", "stripeSecretKey": "s",
        "stripeWebhookSecret": "w", "stripeManagedPayments": true})json");
    value["releases"] = json::array({releaseJSON});
    return value;
}();

const json infoJSON = json::parse(R"json({
    "url": "file:///Demo.app", "name": "Demo", "identifier": "com.example.demo", "minimumSystemVersion": "13.0",
    "version": -42, "versionString": "2.1.0", "appIcon": "file:///i.icns", "sparklePublicEDKey": "a2V5",
    "sparkleFeedURL": "https://x/appcast.xml", "sparkleEnableSystemProfiling": false})json");

const json settingsJSON = json::parse(R"json({
    "codesignIdentity": {"hash": "AB", "name": "Developer ID Application: J (T)", "teamID": "T"
}
, "keychainProfile" : "p", "dmgEnabled" : false, "showWatermark" : true, "dmgBackgroundURL" : "file:///b.png"
})json");

const json contextJSON = {{"id", id.string()},
                          {"importedBundle", {{"app", {{"_0", infoJSON}}}}},
                          {"app", {{"local", {{"_0", localJSON}}}}},
                          {"privateKeyData", "AQID"},
                          {"s3Credentials", {{"accessKeyID", "a"}, {"secretAccessKey", "s"}}}};

template<typename Record>
json passedThrough(const json& document) {
    return encodeJSON(decodeJSON<Record>(document));
}

/// With every optional present, and so with every key; then without each of them. Only optional keys may be
/// absent or null.
template<typename Type>
void expectKeys(const json& whole, const std::vector<std::string>& optional = {}) {
    EXPECT_EQ(passedThrough<Type>(whole), whole);
    for (const auto& [key, value] : whole.items()) {
        json without = whole;
        without.erase(key);
        json withNull = whole;
        withNull[key] = nullptr;
        const bool isOptional = std::ranges::find(optional, key) != optional.end();
        for (const json& document : {without, withNull})
            try {
                EXPECT_EQ(passedThrough<Type>(document), without);
                EXPECT_TRUE(isOptional) << key;
            } catch (const ModelError& error) {
                EXPECT_EQ(error.description(), isOptional ? "" : key + " is missing.");
            }
    }
}

TEST(RecordJSON, keepsEveryKeyAndNeedsAllButTheOptionalOnes) {
    expectKeys<Release>(releaseJSON, {"downloadURL", "channel", "createdAt", "updatedAt"});
    expectKeys<ServerApp>(serverJSON, {"edDSAPublicKey", "fullReleaseNotesURL", "iconURL", "customDomain",
                                       "stripeSecretKey", "stripeWebhookSecret"});
    expectKeys<LocalApp>(localJSON, {"edDSAPublicKey", "iconURL"});
    expectKeys<S3Configuration>(localJSON["storage"]["s3"]["_0"], {"endpoint", "pathPrefix"});
    expectKeys<BundleInfo>(infoJSON, {"appIcon", "sparklePublicEDKey", "sparkleFeedURL"});
    expectKeys<ReleaseContext>(contextJSON, {"s3Credentials"});
    expectKeys<CodesignIdentity>(settingsJSON["codesignIdentity"]);
    expectKeys<User>(json{{"id", id.string()}, {"name", "Ann"}, {"email", "a@example.com"}});
    for (const json& bundle :
         {json{{"archivedApp", {{"_0", infoJSON}, {"archiveURL", "file:///a.xcarchive"}}}},
          json{{"dmg", {{"_0", infoJSON}, {"sourceURL", "file:///a.dmg"}}}},
          json{{"zip", {{"_0", infoJSON}, {"sourceURL", "file:///a.zip"}}}}})
        EXPECT_EQ(passedThrough<ImportedBundle>(bundle), bundle);
    const json build{{"projectPath", "file:///a.xcworkspace"}, {"projectType", "workspace"}, {"scheme", "s"}};
    EXPECT_EQ(passedThrough<XcodeBuildConfiguration>(build), build);
    const json step{{"codesigningApp", json::object()}};
    EXPECT_EQ(passedThrough<ReleaseState::Step>(step), step);
    EXPECT_EQ(passedThrough<App>(json{{"server", {{"_0", serverJSON}}}}),
              (json{{"server", {{"_0", serverJSON}}}}));
}

TEST(ReleaseSettingsJSON, enablesTheImageWhenTheKeyIsAbsent) {
    EXPECT_EQ(passedThrough<ReleaseSettings>(settingsJSON), settingsJSON);
    json document = settingsJSON;
    document.erase("dmgEnabled");
    EXPECT_TRUE(decodeJSON<ReleaseSettings>(document).dmgEnabled);
}

TEST(LocalAppJSON, neverHoldsReleases) {
    LocalApp app = decodeJSON<LocalApp>(localJSON);
    app.releases.push_back(Release{});
    EXPECT_EQ(encodeJSON(app), localJSON);
    json document = localJSON;
    document["releases"] = "anything";
    EXPECT_TRUE(decodeJSON<LocalApp>(document).releases.empty());
}

TEST(ReleaseJSON, countsDatesFrom2001) {
    const Release release = decodeJSON<Release>(releaseJSON);
    EXPECT_EQ(formatISO8601(release.createdAt.value()), "2026-11-22T09:30:05Z");
    EXPECT_EQ(formatISO8601(release.updatedAt.value()), "2001-01-01T00:00:00Z");
    EXPECT_EQ(release.bundleVersion, 9007199254740993); // more than a double can tell apart
}

TEST(ReleaseJSON, hasTheDatesOfTheServiceAsText) {
    json document = releaseJSON;
    document["createdAt"] = "2026-11-22T09:30:05Z";
    document.erase("updatedAt");
    const auto release = decodeJSON<Release>(document, DateForm::iso8601);
    EXPECT_EQ(release.createdAt, parseISO8601("2026-11-22T09:30:05Z"));
    EXPECT_EQ(encodeJSON(release, DateForm::iso8601), document);
    EXPECT_THROW(decodeJSON<Release>(document), ModelError);
    EXPECT_THROW(decodeJSON<Release>(releaseJSON, DateForm::iso8601), ModelError);
}

TEST(WrongValue, isNamedByItsPath) {
    const struct {
        const char* path; ///< a JSON pointer into an app of the service with one release
        json value;
        const char* text;
    } cases[] = {
        {"/server/_0/releases/0/bundleVersion", 42.0,
         "server._0.releases[0].bundleVersion is not an integer of 64 bits."},
        {"/server/_0/releases/0/fileSize", 9223372036854775808u,
         "server._0.releases[0].fileSize is not an integer of 64 bits."},
        {"/server/_0/releases/0/isCritical", 1, "server._0.releases[0].isCritical is not true or false."},
        {"/server/_0/releases/0/createdAt", 1e300, "server._0.releases[0].createdAt is not a date."},
        {"/server/_0/appcastURL", "nowhere", "server._0.appcastURL is not a URL."},
        {"/server/_0/id", "42", "server._0.id is not a UUID."},
        {"/server/_0/releases", json::object(), "server._0.releases is not a list."},
        {"/server/_0/releases/0", 5, "server._0.releases[0] is not an object."},
        {"/server/_0/stripeSecretKey", json::array({"hidden"}), "server._0.stripeSecretKey is not a string."},
        {"/server", json::object(), "server._0 is missing."},
        {"/local", json::object(), "Invalid number of keys found, expected one."},
        {"", json{{"cloud", json::object()}}, "The record is not an object with one key, local or server."},
    };
    for (const auto& row : cases) {
        json document = {{"server", {{"_0", serverJSON}}}};
        document[json::json_pointer(row.path)] = row.value;
        EXPECT_EQ(test::descriptionThrown<ModelError>([&] { (void)decodeJSON<App>(document); }), row.text);
    }
    json context = contextJSON;
    context["importedBundle"]["zip"] = json::object();
    EXPECT_EQ(test::descriptionThrown<ModelError>([&] { (void)decodeJSON<ReleaseContext>(context); }),
              "importedBundle: Invalid number of keys found, expected one.");
}

} // namespace
} // namespace halvo
