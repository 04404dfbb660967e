#include <Platform/Bundle.h>

#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::TemporaryFolder;
namespace fs = std::filesystem;

Bundle open(const fs::path& path) {
    const auto bundle = Bundle::open(path);
    EXPECT_TRUE(bundle) << path;
    return bundle.value();
}

TEST(Bundle, opensFoldersThatAreLaidOutLikeOne) {
    const TemporaryFolder folder;
    folder.write("Deep.app/Contents/Info.plist", "");
    folder.write("Flat.app/Info.plist", "");
    folder.write("Old.bundle/Resources/a.txt", "");
    fs::create_directory(folder / "Empty.app");
    folder.write("File.app", "");
    for (const char* name : {"Deep.app", "Flat.app", "Old.bundle"})
        EXPECT_TRUE(Bundle::open(folder / name)) << name;
    for (const char* name : {"Empty.app", "File.app", "None.app"})
        EXPECT_FALSE(Bundle::open(folder / name)) << name;
    EXPECT_EQ(open(folder / "Deep.app").url(), URL::file(folder / "Deep.app"));
}

TEST(Bundle, findsResourcesBeforeLocalisedOnes) {
    const TemporaryFolder folder;
    const fs::path resources = folder / "A.app/Contents/Resources";
    folder.write("A.app/Contents/Resources/Main.icns", "");
    folder.write("A.app/Contents/Resources/de.lproj/Main.icns", "");
    folder.write("A.app/Contents/Resources/fr.lproj/Only.icns", "");
    folder.write("A.app/Contents/Resources/en.lproj/Only.icns", "");
    folder.write("A.app/Contents/Resources/other/Hidden.icns", "");
    fs::create_directory(resources / "Folder.icns");
    const Bundle bundle = open(folder / "A.app");
    EXPECT_EQ(bundle.resource("Main", "icns"), URL::file(resources / "Main.icns"));
    EXPECT_EQ(bundle.resource("Only", "icns"), URL::file(resources / "en.lproj/Only.icns"));
    for (const char* name : {"Hidden", "Folder", "Missing", ""})
        EXPECT_FALSE(bundle.resource(name, "icns")) << name;
}

TEST(Bundle, findsResourcesOfFlatBundlesAtTheTop) {
    const TemporaryFolder folder;
    folder.write("Flat.app/Info.plist", "");
    folder.write("Flat.app/Icon.icns", "");
    folder.write("Old.bundle/Resources/Icon.icns", "");
    EXPECT_EQ(open(folder / "Flat.app").resource("Icon", "icns"), URL::file(folder / "Flat.app/Icon.icns"));
    EXPECT_EQ(open(folder / "Old.bundle").resource("Icon", "icns"),
              URL::file(folder / "Old.bundle/Resources/Icon.icns"));
}

TEST(Bundle, namesDoNotLeadOutOfTheResources) {
    const TemporaryFolder folder;
    folder.write("A.app/Contents/Resources/Icon.icns", "");
    folder.write("A.app/Contents/Secret.icns", "");
    folder.write("A.app/Contents/Resources/Sub/Icon.icns", "");
    const Bundle bundle = open(folder / "A.app");
    const std::string absolute = (folder / "A.app/Contents/Secret").string();
    for (const std::string& name : {std::string("../Secret"), std::string("Sub/Icon"), absolute,
                                    std::string("Icon.icns\0", 10), std::string("..")})
        EXPECT_FALSE(bundle.resource(name, "icns")) << name;
    EXPECT_FALSE(bundle.resource("Icon", "icns/../Icon.icns"));
}

TEST(Package, isAFolderWithThatExtension) {
    const TemporaryFolder folder;
    for (const char* name :
         {"A.app", "B.APP", "C.xcarchive", "D.dSYM", "E.framework", "F", "G.lproj", ".app"})
        fs::create_directory(folder / name);
    folder.write("File.app", "");
    for (const char* name : {"A.app", "A.app/", "B.APP", "C.xcarchive", "D.dSYM"})
        EXPECT_TRUE(isPackage(folder / name)) << name;
    for (const char* name : {"E.framework", "F", "G.lproj", ".app", "File.app", "None.app"})
        EXPECT_FALSE(isPackage(folder / name)) << name;
}

} // namespace
} // namespace halvo
