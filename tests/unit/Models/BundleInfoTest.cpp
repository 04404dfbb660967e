#include <Models/BundleInfo.h>

#include <Base/PropertyList.h>
#include <Platform/Bundle.h>
#include <Support/TemporaryFolder.h>
#include <Support/Thrown.h>

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
    /// The sentence of the failure, and its advice behind a bar.
    std::string failure() const {
        try {
            (void)info();
        } catch (const BundleInfoError& error) {
            return error.description() + (error.advice().empty() ? "" : "|" + error.advice());
        }
        return "was read";
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

TEST(BundleInfo, namesTheKeyThatIsMissing) {
    for (const std::string key : {"CFBundleName", "CFBundleIdentifier", "CFBundleVersion",
                                  "CFBundleShortVersionString", "LSMinimumSystemVersion"}) {
        PropertyListDictionary info = completeInfo();
        info.erase(key);
        EXPECT_EQ(SampleBundle(info).failure(), "Missing " + key + " in Info.plist");
        info.insert_or_assign(key, 42); // a number is not a text
        EXPECT_EQ(SampleBundle(info).failure(), "Missing " + key + " in Info.plist");
    }
}

TEST(BundleInfo, needsAnInfoDictionaryAndSaysWhyItHasNone) {
    const std::string sentence = "Bundle does not contain an Info.plist";
    const std::string advice = sentence + "|Contents/Info.plist is there but cannot be read. ";
    EXPECT_EQ(SampleBundle("").failure(), advice + "The property list is empty.");
    EXPECT_EQ(SampleBundle("<plist>\n<dict>\n").failure(),
              advice + "The XML property list is damaged in line 3: it is cut off.");
    EXPECT_EQ(SampleBundle("<plist><array/></plist>").failure(),
              advice + "It holds another value than a dictionary.");
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "A.app/Contents");
    try {
        (void)BundleInfo::from(Bundle::open(folder / "A.app").value());
        ADD_FAILURE();
    } catch (const BundleInfoError& error) {
        EXPECT_EQ(error.description(), sentence);
        EXPECT_EQ(error.advice(), "");
    }
}

TEST(BundleInfo, takesIntegersAsBuildNumbersOnly) {
    for (const auto& [text, number] :
         {std::pair<const char*, std::int64_t>{"42", 42}, {"-1", -1}, {"9223372036854775807", INT64_MAX}}) {
        PropertyListDictionary info = completeInfo();
        info.insert_or_assign("CFBundleVersion", text);
        EXPECT_EQ(SampleBundle(info).info().version, number) << text;
    }
    for (const std::string text : {"", "1.2.3", "9223372036854775808"}) {
        PropertyListDictionary info = completeInfo();
        info.insert_or_assign("CFBundleVersion", text);
        EXPECT_EQ(SampleBundle(info).failure(),
                  BundleInfoError(BundleInfoError::InvalidVersion{text}).description());
    }
}

TEST(Icon, isLookedUpByName) {
    const std::pair<PropertyListDictionary, const char*> cases[] = {
        {{}, "AppIcon.icns"},
        {{{"CFBundleIconFile", "MyIcon.icns"}}, "MyIcon.icns"},
        {{{"CFBundleIconName", "AppIcon"}, {"CFBundleIconFile", "MyIcon"}}, "AppIcon.icns"},
        {{{"CFBundleIconFile", "Nothing"}}, nullptr},
        {{{"CFBundleIconFile", "../Outside.icns"}}, nullptr},
    };
    for (const auto& [keys, found] : cases) {
        PropertyListDictionary info = completeInfo();
        info.insert(keys.begin(), keys.end());
        SampleBundle bundle(info);
        for (const char* name : {"AppIcon.icns", "MyIcon.icns", "../Outside.icns"})
            bundle.addResource(name);
        const auto resources = bundle.path() / "Contents/Resources";
        EXPECT_EQ(bundle.info().appIcon, found ? std::optional(URL::file(resources / found)) : std::nullopt);
    }
}

} // namespace
} // namespace halvo
