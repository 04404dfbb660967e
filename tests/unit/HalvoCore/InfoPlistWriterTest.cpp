#include <HalvoCore/InfoPlistWriter.h>

#include <Base/PropertyList.h>
#include <Support/TemporaryFolder.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::readText;
using test::TemporaryFolder;
namespace fs = std::filesystem;

const PropertyListDictionary original{
    {"CFBundleName", "Demo"},
    {"CFBundleVersion", "1"},
    {"Icon", Bytes{1, 2, 3}},
    {"LSUIElement", true},
    {"Serial", PropertyListUnsigned{18446744073709551615u}},
    {"Ratio", 0.25},
    {"Types", PropertyListArray{PropertyListDictionary{{"Rank", 3}}, "x<&>y"}},
};

fs::path writeList(const TemporaryFolder& folder, const Bytes& bytes) {
    return folder.write("Info.plist", viewText(bytes));
}

PropertyListDictionary readList(const fs::path& path) {
    return *PropertyList::parse(viewBytes(readText(path))).as<PropertyListDictionary>();
}

std::size_t entryCount(const fs::path& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

std::string failure(const fs::path& path) {
    return test::descriptionThrown<PlistWriteError>([&] {
        InfoPlistWriter::write({{"a", "\xff"}}, URL::file(path));
    });
}

TEST(InfoPlistWriter, setsTheValuesAndKeepsTheRest) {
    for (const bool fromBinary : {true, false}) {
        const TemporaryFolder folder;
        const PropertyList list(original);
        const fs::path path = writeList(folder, fromBinary ? list.binary() : list.xml());
        fs::permissions(path, fs::perms(0640));

        InfoPlistWriter::write({{"CFBundleVersion", "42"}, {"SUFeedURL", "https://x/a?b&c"}},
                               URL::file(path));

        PropertyListDictionary expected = original;
        expected.insert_or_assign("CFBundleVersion", "42");
        expected.insert_or_assign("SUFeedURL", "https://x/a?b&c");
        EXPECT_EQ(readList(path), expected);
        EXPECT_TRUE(readText(path).starts_with("<?xml"));
        EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640));
        EXPECT_EQ(entryCount(folder.path()), 1u);
    }
}

TEST(InfoPlistWriter, writesThroughALink) {
    const TemporaryFolder folder;
    const fs::path target = folder.write("real/Info.plist", viewText(PropertyList(original).xml()));
    fs::create_symlink("real/Info.plist", folder / "Link.plist");
    InfoPlistWriter::write({{"CFBundleName", "Other"}}, URL::file(folder / "Link.plist"));
    EXPECT_TRUE(fs::is_symlink(folder / "Link.plist"));
    EXPECT_EQ(readList(target).at("CFBundleName"), PropertyList("Other"));
}

TEST(InfoPlistWriter, saysWhatFailedAndLeavesTheFile) {
    const TemporaryFolder folder;
    EXPECT_EQ(failure(folder / "none.plist"), "Plist file not found");
    EXPECT_THAT(failure(folder.path()), testing::StartsWith("Failed to read plist: "));
    const std::string list = std::string(viewText(PropertyList(PropertyListArray{"a"}).xml()));
    const std::string whole = std::string(viewText(PropertyList(original).xml()));
    for (const auto& [content, start] :
         {std::pair(list, "Plist has unexpected format"),
          std::pair(std::string("<plist><dict>"), "Failed to read plist: "),
          std::pair(whole, "Failed to write plist: ")}) { // what is not UTF-8 fits into no form of a list
        const fs::path path = folder.write("Info.plist", content);
        EXPECT_THAT(failure(path), testing::StartsWith(start));
        EXPECT_EQ(readText(path), content);
        EXPECT_EQ(entryCount(folder.path()), 1u);
    }
}

} // namespace
} // namespace halvo
