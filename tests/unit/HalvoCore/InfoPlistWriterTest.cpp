#include <HalvoCore/InfoPlistWriter.h>

#include <Base/PropertyList.h>
#include <Support/TemporaryFolder.h>

#include <csignal>

#include <gtest/gtest.h>

#include <sys/resource.h>

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

PlistWriteError::Case failure(const fs::path& path, const std::map<std::string, std::string>& values) {
    try {
        InfoPlistWriter::write(values, URL::file(path));
    } catch (const PlistWriteError& error) {
        return error.which;
    }
    ADD_FAILURE() << "was written";
    return {};
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

TEST(InfoPlistWriter, namesWhatIsWrongWithTheFile) {
    const TemporaryFolder folder;
    EXPECT_EQ(failure(folder / "none.plist", {}), PlistWriteError::Case(PlistWriteError::FileNotFound()));
    const fs::path array = folder.write("array.plist", viewText(PropertyList(PropertyListArray{"a"}).xml()));
    EXPECT_EQ(failure(array, {{"a", "b"}}), PlistWriteError::Case(PlistWriteError::UnexpectedFormat()));
    const fs::path damaged = folder.write("damaged.plist", "<plist><dict>");
    EXPECT_TRUE(std::holds_alternative<PlistWriteError::ReadFailed>(failure(damaged, {{"a", "b"}})));
    EXPECT_EQ(readText(damaged), "<plist><dict>");
    EXPECT_TRUE(std::holds_alternative<PlistWriteError::ReadFailed>(failure(folder.path(), {{"a", "b"}})));
}

TEST(InfoPlistWriter, leavesTheFileWhenTheValueCannotBeWritten) {
    const TemporaryFolder folder;
    const fs::path path = writeList(folder, PropertyList(original).xml());
    const std::string before = readText(path);
    EXPECT_TRUE(std::holds_alternative<PlistWriteError::WriteFailed>(failure(path, {{"a", "\xff"}})));
    EXPECT_EQ(readText(path), before);
    EXPECT_EQ(entryCount(folder.path()), 1u);
}

/// Files of this process can grow to so many bytes only, as on a full disk, for as long as it lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : oldHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &old);
        const rlimit limit{.rlim_cur = bytes, .rlim_max = old.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, oldHandler);
    }

private:
    rlimit old{};
    void (*oldHandler)(int);
};

TEST(InfoPlistWriter, leavesTheFileWhenTheDiskIsFull) {
    const TemporaryFolder folder;
    const fs::path path = writeList(folder, PropertyList(original).xml());
    std::optional<PlistWriteError::Case> problem;
    {
        const FileSizeLimit limit(100);
        problem = failure(path, {{"CFBundleName", "b"}});
    }
    EXPECT_TRUE(std::holds_alternative<PlistWriteError::WriteFailed>(problem.value()));
    EXPECT_EQ(readList(path), original);
    EXPECT_EQ(entryCount(folder.path()), 1u);
}

TEST(PlistWriteError, saysWhatFailed) {
    EXPECT_EQ(PlistWriteError(PlistWriteError::ReadFailed{"no"}).description(), "Failed to read plist: no");
    EXPECT_EQ(PlistWriteError(PlistWriteError::WriteFailed{"no"}).description(), "Failed to write plist: no");
    EXPECT_EQ(PlistWriteError(PlistWriteError::FileNotFound()).description(), "Plist file not found");
    EXPECT_EQ(PlistWriteError(PlistWriteError::UnexpectedFormat()).description(),
              "Plist has unexpected format");
}

} // namespace
} // namespace halvo
