#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(Binary, readsBackWhatItWrites) {
    BinaryWriter writer;
    writer.writeUInt8(0xFE);
    writer.writeUInt16(0xFEDC);
    writer.writeUInt32(0xFEDCBA98);
    writer.writeUInt64(0xFEDCBA9876543210);
    writer.writeText("icns");
    writer.writeZeros(2);
    EXPECT_EQ(toHex(writer.bytes()), "fefedcfedcba98fedcba987654321069636e730000");

    BinaryReader reader(writer.bytes());
    EXPECT_EQ(reader.readUInt8(), 0xFE);
    EXPECT_EQ(reader.readUInt16(), 0xFEDC);
    EXPECT_EQ(reader.readUInt32(), 0xFEDCBA98);
    EXPECT_EQ(reader.readUInt64(), 0xFEDCBA9876543210);
    EXPECT_EQ(viewText(reader.readBytes(4)), "icns");
    reader.skip(2);
    EXPECT_TRUE(reader.atEnd());
}

TEST(BinaryReader, namesWhatIsWrongAndStays) {
    const Bytes bytes{0xD8, 0x00, 0x00, 0x41};
    BinaryReader reader(bytes);
    const std::pair<std::function<void()>, std::string> refusals[] = {
        {[&] { reader.readBytes(5); }, "Unexpected end of data"},
        {[&] { reader.readBytes(SIZE_MAX); }, "Unexpected end of data"},
        {[&] { reader.readUInt64(); }, "Unexpected end of data"},
        {[&] { reader.seek(5); }, "Invalid seek offset"},
        {[&] { reader.skip(5); }, "Invalid skip length"},
        {[&] { reader.readASCIIString(1); }, "Invalid ASCII string"},
        {[&] { reader.readUTF16String(2); }, "Invalid UTF-16 string"},
        {[&] { reader.readUTF16String(SIZE_MAX / 2 + 1); }, "Invalid UTF-16 string"}};
    for (const auto& [read, sentence] : refusals) {
        try {
            read();
            ADD_FAILURE() << sentence;
        } catch (const BinaryReadError& error) {
            EXPECT_EQ(error.description(), sentence);
        }
        EXPECT_EQ(reader.position(), 0u) << sentence;
    }
    reader.seek(4);
    EXPECT_TRUE(reader.atEnd());
    reader.seek(2);
    EXPECT_EQ(reader.readUTF16String(1), "A");
}

TEST(BinaryWriter, writesTextsAndPadding) {
    BinaryWriter writer;
    writer.writeASCIIString("DSDB");
    EXPECT_THROW(writer.writeASCIIString("\u00e9"), BinaryWriteError);
    EXPECT_THROW(writer.writeUTF16String("\xff"), BinaryWriteError);
    writer.writePadding(6);
    writer.writePadding(2);
    writer.writeUTF16String("\U0001F4BE");
    EXPECT_EQ(toHex(writer.bytes()), "445344420000d83ddcbe");
}

TEST(BinaryReader, refusesBlocksThatLeaveTheInput) {
    const Bytes bytes{1, 2, 3, 4};
    const BinaryReader reader(bytes);
    EXPECT_EQ(reader.block(1, 2).readUInt16(), 0x0203);
    EXPECT_TRUE(reader.block(4, 0).atEnd());
    for (const auto& [offset, size] :
         {std::pair<std::uint64_t, std::uint64_t>{5, 0}, {0, 5}, {3, 2}, {UINT64_MAX, 1}, {1, UINT64_MAX}})
        EXPECT_THROW((void)reader.block(offset, size), BinaryReadError) << offset << " " << size;
}

} // namespace
} // namespace halvo
