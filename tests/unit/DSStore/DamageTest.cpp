#include "StoreFileBuilder.h"

#include <DSStore/DSStore.h>

#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

/// A store with two levels and values of several kinds, small enough to try every byte of it.
DSStore sample() {
    DSStore store;
    for (const char* name : {"Applications", "Demo.app", "caf\u00e9", "\U0001F4BE"})
        store.setIconPosition(name, 1, 2);
    store.setComment(std::string(1200, 'x'), "Demo.app");
    store.setComment(std::string(1200, 'y'), "caf\u00e9");
    store.setIconViewSettings({.showIconPreview = true, .iconSize = 96, .arrangeBy = "none"});
    store.setViewStyle(dsstore::ViewStyle::icon);
    return store;
}

/// Every outcome but a value or an error of this library fails the test; the sanitizers see the rest.
void readAndWrite(ByteView file, const std::string& what) {
    try {
        const DSStore store = DSStore::read(file);
        EXPECT_EQ(DSStore::read(store.serialize()).size(), store.size()) << what;
    } catch (const DSStore::Error&) {
    } catch (const std::exception& error) {
        ADD_FAILURE() << what << ": " << error.what();
    }
}

TEST(Damage, ofEveryTruncationIsNamed) {
    const Bytes whole = sample().serialize();
    // What only fills up the allocator block may be missing, but for the size that the prologue promises.
    const std::size_t promised = whole.size() - 4;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string error = test::readingError(ByteView(whole).first(length));
        EXPECT_EQ(error.empty(), length >= promised) << length << ": " << error;
    }
}

TEST(Damage, ofEveryByteEndsInAValueOrAnError) {
    const Bytes whole = sample().serialize();
    Bytes damaged = whole;
    for (std::size_t index = 0; index < whole.size(); ++index) {
        if (index >= 2 && whole[index] == whole[index - 2] && index % 16 != 0)
            continue; // a sample of zeros and of long texts is enough
        for (const int mask : {0x01, 0x80, 0xFF}) {
            damaged[index] = static_cast<std::uint8_t>(whole[index] ^ mask);
            readAndWrite(damaged, "byte " + std::to_string(index) + " mask " + std::to_string(mask));
        }
        damaged[index] = whole[index];
    }
}

TEST(Damage, namesWhyAFileCannotBeOpened) {
    const test::TemporaryFolder folder;
    try {
        DSStore::read(folder / "missing");
        ADD_FAILURE();
    } catch (const DSStore::Error& error) {
        EXPECT_EQ(error.description(), "File not found");
    }
    try {
        DSStore::read(ByteView());
    } catch (const DSStore::Error& error) {
        EXPECT_EQ(error.description(), "Corrupted file: Unexpected end of data");
    }
    try {
        DSStore::read(folder.path());
        ADD_FAILURE();
    } catch (const DSStore::Error& error) {
        EXPECT_TRUE(error.is<DSStore::Error::ReadFailed>());
        EXPECT_NE(error.description().find("Is a directory"), std::string::npos) << error.description();
    }
}

} // namespace
} // namespace halvo
