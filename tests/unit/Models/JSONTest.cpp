#include <Models/CompanionRecords.h>
#include <Models/JSONFields.h>
#include <Models/ReleaseSettings.h>
#include <Models/ReleaseState.h>
#include <Models/XcodeBuildConfiguration.h>

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

/// With every optional present, and so with every key: a key that is misspelled on either way is lost here.
TEST(RecordJSON, keepsEveryKey) {
    const struct {
        const char* name;
        json document;
        json (*convert)(const json&);
    } cases[] = {
        {"app", {{"server", {{"_0", serverJSON}}}}, passedThrough<App>},
        {"archive",
         {{"archivedApp", {{"_0", infoJSON}, {"archiveURL", "file:///a.xcarchive"}}}},
         passedThrough<ImportedBundle>},
        {"image",
         {{"dmg", {{"_0", infoJSON}, {"sourceURL", "file:///a.dmg"}}}},
         passedThrough<ImportedBundle>},
        {"zip", {{"zip", {{"_0", infoJSON}, {"sourceURL", "file:///a.zip"}}}}, passedThrough<ImportedBundle>},
        {"settings", settingsJSON, passedThrough<ReleaseSettings>},
        {"build",
         {{"projectPath", "file:///a.xcworkspace"}, {"projectType", "workspace"}, {"scheme", "s"}},
         passedThrough<XcodeBuildConfiguration>},
        {"step", {{"codesigningApp", json::object()}}, passedThrough<ReleaseState::Step>},
        {"context", contextJSON, passedThrough<ReleaseContext>}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.convert(row.document), row.document);
    }
}

TEST(OptionalKeys, mayBeAbsentAndNoOthers) {
    const struct {
        const char* name;
        json document;
        std::vector<std::string> optional;
        json (*convert)(const json&);
    } cases[] = {
        {"release",
         releaseJSON,
         {"downloadURL", "channel", "createdAt", "updatedAt"},
         passedThrough<Release>},
        {"serverApp",
         serverJSON,
         {"edDSAPublicKey", "fullReleaseNotesURL", "iconURL", "customDomain", "stripeSecretKey",
          "stripeWebhookSecret"},
         passedThrough<ServerApp>},
        {"bundleInfo",
         infoJSON,
         {"appIcon", "sparklePublicEDKey", "sparkleFeedURL"},
         passedThrough<BundleInfo>},
        {"s3", localJSON["storage"]["s3"]["_0"], {"endpoint", "pathPrefix"}, passedThrough<S3Configuration>},
        {"context", contextJSON, {"s3Credentials"}, passedThrough<ReleaseContext>}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const json& whole = row.document;
        for (const auto& [key, value] : whole.items()) {
            json without = whole;
            without.erase(key);
            json withNull = whole;
            withNull[key] = nullptr;
            if (std::ranges::find(row.optional, key) != row.optional.end()) {
                EXPECT_EQ(row.convert(without), without) << key;
                EXPECT_EQ(row.convert(withNull), without) << key;
                continue;
            }
            for (const json& incomplete : {without, withNull}) {
                try {
                    (void)row.convert(incomplete);
                    ADD_FAILURE() << key << " is not required";
                } catch (const ModelError& error) {
                    EXPECT_EQ(error.description(), key + " is missing.");
                }
            }
        }
    }
}

TEST(ReleaseSettingsJSON, enablesTheImageWhenTheKeyIsAbsent) {
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

TEST(FieldsJSON, readAndWriteDatesOfTheService) {
    const json document = {{"at", "2026-11-22T09:30:05Z"}};
    Date at;
    FieldReader(document, DateForm::iso8601).required("at", at);
    json written;
    FieldWriter(written, DateForm::iso8601).field("at", at);
    EXPECT_EQ(written, document);
    EXPECT_THROW(FieldReader(document).required("at", at), ModelError);
    EXPECT_THROW(FieldReader(json{{"at", 1.0}}, DateForm::iso8601).required("at", at), ModelError);
}

TEST(WrongValue, isNamedByItsPath) {
    const struct {
        const char* name;
        const char* path; ///< a JSON pointer into an app of the service with one release
        json value;
        const char* text;
    } cases[] = {{"float", "/server/_0/releases/0/bundleVersion", 42.0,
                  "server._0.releases[0].bundleVersion is not an integer of 64 bits."},
                 {"beyond64Bits", "/server/_0/releases/0/fileSize", 9223372036854775808u,
                  "server._0.releases[0].fileSize is not an integer of 64 bits."},
                 {"boolAsNumber", "/server/_0/releases/0/isCritical", 1,
                  "server._0.releases[0].isCritical is not true or false."},
                 {"dateOutOfRange", "/server/_0/releases/0/createdAt", 1e300,
                  "server._0.releases[0].createdAt is not a date."},
                 {"url", "/server/_0/appcastURL", "nowhere", "server._0.appcastURL is not a URL."},
                 {"uuid", "/server/_0/id", "42", "server._0.id is not a UUID."},
                 {"text", "/server/_0/name", 1, "server._0.name is not a string."},
                 {"list", "/server/_0/releases", json::object(), "server._0.releases is not a list."},
                 {"object", "/server/_0/releases/0", 5, "server._0.releases[0] is not an object."},
                 {"secret", "/server/_0/stripeSecretKey", json::array({"hidden"}),
                  "server._0.stripeSecretKey is not a string."},
                 {"payload", "/server", json::object(), "server._0 is missing."},
                 {"twoCases", "/local", json::object(), "Invalid number of keys found, expected one."},
                 {"unknownCase", "", json{{"cloud", json::object()}},
                  "The record is not an object with one key, local or server."}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        json document = {{"server", {{"_0", serverJSON}}}};
        document[json::json_pointer(row.path)] = row.value;
        try {
            (void)decodeJSON<App>(document);
            ADD_FAILURE() << "was read";
        } catch (const ModelError& error) {
            EXPECT_EQ(error.description(), row.text);
        }
    }
}

TEST(ModelError, namesThePlaceOfAWrongKeyCount) {
    json document = contextJSON;
    document["importedBundle"]["zip"] = json::object();
    try {
        (void)decodeJSON<ReleaseContext>(document);
        FAIL() << "was read";
    } catch (const ModelError& error) {
        EXPECT_EQ(error.path, "importedBundle");
        EXPECT_TRUE(std::holds_alternative<ModelError::KeyCount>(error.which));
    }
}

} // namespace
} // namespace halvo
