#include <Models/BundleInfo.h>

#include <Platform/Bundle.h>
#include <Platform/PropertyList.h>
#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::TemporaryFolder;

PropertyListDictionary completeInfo() {
    return {{"CFBundleName", "Demo"},
            {"CFBundleIdentifier", "com.example.demo"},
            {"CFBundleVersion", "42"},
            {"CFBundleShortVersionString", "2.1.0"},
            {"LSMinimumSystemVersion", "13.0"}};
}

/// A bundle on disk with that Info.plist.
class SampleBundle {
public:
    explicit SampleBundle(std::string_view infoFile) {
        folder.write("Demo.app/Contents/Info.plist", infoFile);
    }
    explicit SampleBundle(const PropertyListDictionary& info, bool binary = false)
        : SampleBundle(viewText(binary ? PropertyList(info).binary() : PropertyList(info).xml())) {}

    std::filesystem::path addResource(const std::string& name) {
        return folder.write("Demo.app/Contents/Resources/" + name, "icns");
    }
    std::filesystem::path path() const { return folder / "Demo.app"; }
    BundleInfo info() const { return BundleInfo::from(Bundle::open(path()).value()); }
    std::optional<BundleInfoError::Case> failure() const {
        try {
            (void)info();
        } catch (const BundleInfoError& error) {
            return error.which;
        }
        return std::nullopt;
    }

private:
    TemporaryFolder folder;
};

TEST(BundleInfo, readsBothFormsOfTheInfoDictionary) {
    PropertyListDictionary info = completeInfo();
    info.insert({{"SUPublicEDKey", "a2V5"},
                 {"SUFeedURL", "https://example.com/appcast.xml"},
                 {"SUEnableSystemProfiling", true},
                 {"CFBundleIconFile", "MyIcon.icns"}});
    for (const bool binary : {false, true}) {
        SampleBundle bundle(info, binary);
        const auto icon = bundle.addResource("MyIcon.icns");
        EXPECT_EQ(bundle.info(), (BundleInfo{.url = URL::file(bundle.path()),
                                             .name = "Demo",
                                             .identifier = "com.example.demo",
                                             .minimumSystemVersion = "13.0",
                                             .version = 42,
                                             .versionString = "2.1.0",
                                             .appIcon = URL::file(icon),
                                             .sparklePublicEDKey = "a2V5",
                                             .sparkleFeedURL = URL::parse("https://example.com/appcast.xml"),
                                             .sparkleEnableSystemProfiling = true}));
        EXPECT_EQ(bundle.info().versionDescription(), "2.1.0 (42)");
        EXPECT_EQ(bundle.info().id(), "com.example.demo");
    }
}

TEST(BundleInfo, leavesOutSparkleValuesThatMakeNoSense) {
    PropertyListDictionary info = completeInfo();
    info.insert({{"SUPublicEDKey", 5}, {"SUFeedURL", "not a URL"}, {"SUEnableSystemProfiling", "YES"}});
    const BundleInfo read = SampleBundle(info).info();
    EXPECT_EQ(read.sparklePublicEDKey, std::nullopt);
    EXPECT_EQ(read.sparkleFeedURL, std::nullopt);
    EXPECT_FALSE(read.sparkleEnableSystemProfiling);
}

struct MissingCase {
    const char* name;
    const char* key;
    BundleInfoError::Case expected;
    const char* text;
};

class MissingKey : public testing::TestWithParam<MissingCase> {};

TEST_P(MissingKey, isNamed) {
    PropertyListDictionary info = completeInfo();
    info.erase(GetParam().key);
    EXPECT_EQ(SampleBundle(info).failure(), GetParam().expected);
    info.insert_or_assign(GetParam().key, 42); // a number is no text
    EXPECT_EQ(SampleBundle(info).failure(), GetParam().expected);
    EXPECT_EQ(BundleInfoError(GetParam().expected).description(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    BundleInfo, MissingKey,
    testing::Values(
        MissingCase{"name", "CFBundleName", BundleInfoError::NoName(), "Missing CFBundleName in Info.plist"},
        MissingCase{"identifier", "CFBundleIdentifier", BundleInfoError::NoIdentifer(),
                    "Missing CFBundleIdentifier in Info.plist"},
        MissingCase{"version", "CFBundleVersion", BundleInfoError::NoVersion(),
                    "Missing CFBundleVersion in Info.plist"},
        MissingCase{"versionString", "CFBundleShortVersionString", BundleInfoError::NoVersionString(),
                    "Missing CFBundleShortVersionString in Info.plist"},
        MissingCase{"minimumSystemVersion", "LSMinimumSystemVersion",
                    BundleInfoError::NoMinimumSystemVersion(),
                    "Missing LSMinimumSystemVersion in Info.plist"}),
    test::CaseName());

TEST(BundleInfo, reportsTheFirstProblem) {
    EXPECT_EQ(SampleBundle(PropertyListDictionary()).failure(),
              BundleInfoError::Case(BundleInfoError::NoName()));
    PropertyListDictionary info = completeInfo();
    info.insert_or_assign("CFBundleVersion", "1.2");
    info.erase("CFBundleShortVersionString");
    EXPECT_EQ(SampleBundle(info).failure(), BundleInfoError::Case(BundleInfoError::InvalidVersion{"1.2"}));
}

TEST(BundleInfo, needsAnInfoDictionary) {
    for (const char* content : {"", "{}", "<plist><dict>", "<plist><array/></plist>", "bplist00"})
        EXPECT_EQ(SampleBundle(content).failure(), BundleInfoError::Case(BundleInfoError::NoInfoDictionary()))
            << content;
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "A.app/Contents/Info.plist");
    EXPECT_THROW((void)BundleInfo::from(Bundle::open(folder / "A.app").value()), BundleInfoError);
    EXPECT_EQ(BundleInfoError(BundleInfoError::NoInfoDictionary()).description(),
              "Bundle does not contain an Info.plist");
}

TEST(BundleInfo, takesIntegersAsBuildNumbersOnly) {
    for (const auto& [text, number] : {std::pair<const char*, std::int64_t>{"42", 42},
                                       {"+42", 42},
                                       {"-1", -1},
                                       {"9223372036854775807", INT64_MAX}}) {
        PropertyListDictionary info = completeInfo();
        info.insert_or_assign("CFBundleVersion", text);
        EXPECT_EQ(SampleBundle(info).info().version, number) << text;
    }
    for (const char* text : {"", "1.2.3", " 42", "42 ", "abc", "9223372036854775808", "0x10"}) {
        PropertyListDictionary info = completeInfo();
        info.insert_or_assign("CFBundleVersion", text);
        EXPECT_EQ(SampleBundle(info).failure(), BundleInfoError::Case(BundleInfoError::InvalidVersion{text}));
    }
    EXPECT_EQ(
        BundleInfoError(BundleInfoError::InvalidVersion{"1.2.3"}).description(),
        "CFBundleVersion is \"1.2.3\", but Halvo currently requires an integer build number. Set "
        "CURRENT_PROJECT_VERSION to an integer (e.g. 42) and keep your marketing version (e.g. 1.2.3) in "
        "CFBundleShortVersionString.");
}

struct IconCase {
    const char* name;
    PropertyListDictionary keys;
    const char* found; ///< the file's name; null: none
};

class Icon : public testing::TestWithParam<IconCase> {};

TEST_P(Icon, isLookedUpByName) {
    PropertyListDictionary info = completeInfo();
    info.insert(GetParam().keys.begin(), GetParam().keys.end());
    SampleBundle bundle(info);
    for (const char* name : {"AppIcon.icns", "MyIcon.icns", "Other.png", "../Outside.icns"})
        bundle.addResource(name);
    std::optional<URL> expected;
    if (GetParam().found != nullptr)
        expected = URL::file(bundle.path() / "Contents/Resources" / GetParam().found);
    EXPECT_EQ(bundle.info().appIcon, expected);
}

INSTANTIATE_TEST_SUITE_P(
    BundleInfo, Icon,
    testing::Values(IconCase{"withoutKeys", {}, "AppIcon.icns"},
                    IconCase{"file", {{"CFBundleIconFile", "MyIcon"}}, "MyIcon.icns"},
                    IconCase{"fileWithExtension", {{"CFBundleIconFile", "MyIcon.icns"}}, "MyIcon.icns"},
                    IconCase{"nameFirst",
                             {{"CFBundleIconName", "AppIcon"}, {"CFBundleIconFile", "MyIcon"}},
                             "AppIcon.icns"},
                    IconCase{"nameOfAnotherType",
                             {{"CFBundleIconName", 1}, {"CFBundleIconFile", "MyIcon"}},
                             "MyIcon.icns"},
                    IconCase{"leadingDot", {{"CFBundleIconFile", ".MyIcon.x"}}, "MyIcon.icns"},
                    IconCase{"missingFile", {{"CFBundleIconFile", "Nothing"}}, nullptr},
                    IconCase{"emptyName", {{"CFBundleIconName", ""}}, nullptr},
                    IconCase{"onlyDots", {{"CFBundleIconFile", "..."}}, nullptr},
                    IconCase{"outside", {{"CFBundleIconFile", "../Outside.icns"}}, nullptr}),
    test::CaseName());

} // namespace
} // namespace halvo
