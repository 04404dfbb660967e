#include "StoreFileBuilder.h"

#include <Base/BinaryWriter.h>
#include <DSStore/DSStore.h>
#include <DSStore/DiagnosticHandler.h>

#include <algorithm>

#include <gtest/gtest.h>

namespace halvo::test {

Bytes StoreFileBuilder::build() const {
    constexpr std::uint32_t allocatorPower = 14, allocatorSize = 1u << allocatorPower;
    BinaryWriter header;
    for (const std::uint32_t field : {root, height, recordCount, nodeCount, pageSize})
        header.writeUInt32(field);
    std::vector<Block> blocks{{.data = header.bytes(), .sizePower = 5, .offset = 32}};
    std::uint32_t cursor = 4096;
    for (Block block : nodes) {
        if (block.offset == 0) {
            block.offset = cursor;
            cursor += 4096;
        } else if (!block.data.empty()) {
            cursor = std::max(cursor, block.offset + (1u << block.sizePower));
        }
        blocks.push_back(block);
    }

    cursor = (cursor + allocatorSize - 1) / allocatorSize * allocatorSize;

    BinaryWriter file;
    file.writeUInt32(1);
    file.writeText("Bud1");
    for (const std::uint32_t field : {cursor, allocatorSize, cursor})
        file.writeUInt32(field);
    for (const Block& block : blocks) {
        if (block.data.empty())
            continue; // it may lie anywhere, even outside
        file.writePadding(block.offset + 4);
        file.writeBytes(block.data);
    }
    file.writePadding(cursor + 4);
    file.writeUInt32(static_cast<std::uint32_t>(blocks.size()) + 1);
    file.writeUInt32(reservedWord);
    file.writeUInt32(cursor | allocatorPower);
    for (const Block& block : blocks)
        file.writeUInt32(block.offset | block.sizePower);
    const std::size_t slots = (blocks.size() + 1 + 255) / 256 * 256;
    file.writePadding(cursor + 4 + 8 + 4 * slots);
    file.writeUInt32(static_cast<std::uint32_t>(tableOfContents.size()));
    for (const Entry& entry : tableOfContents) {
        file.writeUInt8(static_cast<std::uint8_t>(entry.name.size()));
        file.writeText(entry.name);
        file.writeUInt32(entry.block);
    }
    file.writePadding(std::size_t(cursor) + 4 + allocatorSize);
    return file.take();
}

Bytes StoreFileBuilder::record(const std::string& asciiName, const std::string& type,
                               const std::string& value) {
    BinaryWriter writer;
    writer.writeUInt32(static_cast<std::uint32_t>(asciiName.size()));
    writer.writeUTF16String(asciiName);
    writer.writeText(type);
    writer.writeText(value);
    return writer.take();
}

Bytes StoreFileBuilder::leaf(const std::vector<Bytes>& records) {
    BinaryWriter writer;
    writer.writeUInt32(0);
    writer.writeUInt32(static_cast<std::uint32_t>(records.size()));
    for (const Bytes& record : records)
        writer.writeBytes(record);
    return writer.take();
}

Bytes StoreFileBuilder::internal(const std::vector<std::uint32_t>& children,
                                 const std::vector<Bytes>& records) {
    BinaryWriter writer;
    writer.writeUInt32(children.back());
    writer.writeUInt32(static_cast<std::uint32_t>(records.size()));
    for (std::size_t index = 0; index < records.size(); ++index) {
        writer.writeUInt32(children[index]);
        writer.writeBytes(records[index]);
    }
    return writer.take();
}

std::string readingError(ByteView file) {
    try {
        DSStore::read(file);
        return "";
    } catch (const DSStore::Error& error) {
        const auto* corrupted = std::get_if<DSStore::Error::CorruptedFile>(&error.which);
        return corrupted ? corrupted->detail : error.description();
    }
}

std::vector<std::string> readingDiagnostics(ByteView file) {
    std::vector<std::string> told;
    const dsstore::ThreadDiagnosticHandler handler([&](const std::string& text) { told.push_back(text); });
    EXPECT_EQ(readingError(file), "");
    return told;
}

Bytes patched(Bytes file, std::size_t offset, std::uint32_t number) {
    for (std::size_t index = 0; index < 4; ++index)
        file.at(offset + index) = static_cast<std::uint8_t>(number >> (24 - 8 * index));
    return file;
}

} // namespace halvo::test
