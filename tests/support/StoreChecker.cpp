#include <Support/StoreChecker.h>

#include <Base/Unicode.h>

#include <bit>
#include <set>
#include <stdexcept>

namespace halvo::test {
namespace {

void require(bool condition, const char* what) {
    if (!condition)
        throw std::runtime_error(what);
}

void require(bool condition, const std::string& what) { require(condition, what.c_str()); }

class Cursor {
public:
    Cursor(ByteView bytes, std::size_t begin, std::size_t end) : bytes(bytes), place(begin), end(end) {
        require(begin <= end && end <= bytes.size(), "a block reaches past the end");
    }

    ByteView take(std::size_t count) {
        require(count <= end - place, "a read leaves its block");
        place += count;
        return bytes.subspan(place - count, count);
    }
    std::uint32_t number(std::size_t width = 4) {
        std::uint32_t value = 0;
        for (const std::uint8_t byte : take(width))
            value = value * 256 + byte;
        return value;
    }
    std::string text(std::size_t length) { return std::string(viewText(take(length))); }
    std::string name() {
        std::u16string units(number(), u' ');
        require(units.size() < 5000, "a name is too long");
        for (char16_t& unit : units)
            unit = static_cast<char16_t>(number(2));
        const auto decoded = decodeUTF16(units);
        require(decoded.has_value(), "a name is no UTF-16");
        return *decoded;
    }
    std::size_t position() const { return place; }
    void requireZeros(const char* what) {
        for (const std::uint8_t byte : take(end - place))
            require(byte == 0, what);
    }

private:
    ByteView bytes;
    std::size_t place;
    std::size_t end;
};

class Checker {
public:
    explicit Checker(ByteView bytes) : bytes(bytes), owners(bytes.size(), 0) {}

    StoredFile run() {
        readPrologue();
        readAllocator();
        readTree();
        for (std::size_t byte = 0; byte < owners.size(); ++byte)
            if (owners[byte] != 1)
                require(false, "byte " + std::to_string(byte) + " has no owner");
        require(visited.size() + 2 == result.blockCount, "a block belongs to nothing");
        return std::move(result);
    }

private:
    void own(std::size_t begin, std::size_t size, const char* what) {
        require(begin + size <= bytes.size(), "something reaches past the end");
        for (std::size_t byte = begin; byte < begin + size; ++byte)
            if (++owners[byte] != 1)
                require(false, std::string(what) + " overlaps at byte " + std::to_string(byte));
    }

    void readPrologue() {
        Cursor cursor(bytes, 0, std::min<std::size_t>(bytes.size(), 36));
        require(cursor.number() == 1 && cursor.text(4) == "Bud1", "the magic is wrong");
        allocatorOffset = cursor.number();
        allocatorSize = cursor.number();
        require(cursor.number() == allocatorOffset, "the two allocator offsets differ");
        cursor.requireZeros("the prologue's unknown bytes are not zero");
        require(bytes.size() == std::size_t(4) + allocatorOffset + allocatorSize, "the file ends elsewhere");
        own(0, 36, "the prologue");
    }

    void readAllocator() {
        Cursor cursor(bytes, 4 + allocatorOffset, bytes.size());
        result.blockCount = cursor.number();
        require(cursor.number() == 0, "the reserved word is not zero");
        const std::uint32_t slots = (result.blockCount + 255) / 256 * 256;
        for (std::uint32_t slot = 0; slot < slots; ++slot)
            addresses.push_back(cursor.number());
        for (std::uint32_t slot = 0; slot < slots; ++slot)
            require((addresses[slot] != 0) == (slot < result.blockCount), "a slot is wrong");
        require(offset(0) == allocatorOffset && size(0) == allocatorSize, "block 0 is not the allocator");
        require(cursor.number() == 1 && cursor.number(1) == 4 && cursor.text(4) == "DSDB" &&
                    cursor.number() == 1,
                "the table of contents is wrong");
        for (std::uint32_t power = 0; power < 32; ++power)
            readFreeList(cursor, power);
        cursor.requireZeros("the rest of the allocator is not zero");
        for (std::uint32_t block = 0; block < result.blockCount; ++block)
            own(4 + offset(block), size(block), "a block");
    }

    void readFreeList(Cursor& cursor, std::uint32_t power) {
        std::vector<std::uint32_t>& list = result.freeLists.emplace_back();
        for (std::uint32_t left = cursor.number(); left > 0; --left) {
            const std::uint32_t piece = cursor.number();
            const std::size_t length = std::size_t(1) << power;
            require(piece % length == 0 && length >= 32, "a free piece is misaligned");
            require(list.empty() || list.back() < piece, "a free list is out of order");
            list.push_back(piece);
            own(4 + piece, length, "a free piece");
            Cursor(bytes, 4 + piece, 4 + piece + length).requireZeros("a free piece is not zero");
        }
    }

    std::uint32_t offset(std::uint32_t block) const { return addresses.at(block) / 32 * 32; }
    std::uint32_t size(std::uint32_t block) const { return std::uint32_t(1) << addresses.at(block) % 32; }

    void readTree() {
        Cursor header(bytes, 4 + offset(1), 4 + offset(1) + size(1));
        const std::uint32_t root = header.number();
        result.height = header.number();
        const std::uint32_t recordCount = header.number();
        result.nodeCount = header.number();
        require(header.number() == 4096, "the page size is wrong");
        header.requireZeros("the rest of the tree header is not zero");
        result.rootBlock = root;
        readNode(root, 0);
        require(result.records.size() == recordCount, "the record count is wrong");
        require(visited.size() == result.nodeCount, "the node count is wrong");
    }

    void readNode(std::uint32_t block, std::uint32_t depth) {
        require(block > 1 && block < result.blockCount, "a child pointer leads nowhere");
        require(visited.insert(block).second, "a node has two parents");
        const std::size_t begin = 4 + offset(block);
        Cursor cursor(bytes, begin, begin + size(block));
        const std::uint32_t lastChild = cursor.number();
        const std::uint32_t count = cursor.number();
        require((lastChild == 0) == (depth == result.height), "a leaf lies at another depth");
        require(lastChild == 0 || count > 0, "an internal node has no records");
        result.tree += lastChild != 0 ? "(" : "[";
        for (std::uint32_t record = 0; record < count; ++record) {
            if (lastChild != 0) {
                readNode(cursor.number(), depth + 1);
                result.tree += " ";
            }
            readRecord(cursor);
            result.tree += result.records.back().filename;
            result.tree += lastChild != 0 || record + 1 < count ? " " : "";
        }
        const std::size_t used = cursor.position() - begin;
        require(used <= 4096 && size(block) == std::max<std::size_t>(32, std::bit_ceil(used)),
                "a block has the wrong size");
        cursor.requireZeros("the rest of a node is not zero");
        if (lastChild != 0)
            readNode(lastChild, depth + 1);
        result.tree += lastChild != 0 ? ")" : "]";
    }

    void readRecord(Cursor& cursor) {
        StoredRecord record;
        record.filename = cursor.name();
        record.type = cursor.text(4);
        record.valueType = cursor.text(4);
        const std::string& type = record.valueType;
        std::size_t length = 0;
        if (type == "blob" || type == "book")
            length = cursor.number();
        else if (type == "ustr")
            length = 2 * std::size_t(cursor.number());
        else if (type == "bool")
            length = 1;
        else if (type == "long" || type == "shor" || type == "type")
            length = 4;
        else if (type == "comp" || type == "dutc")
            length = 8;
        else
            require(type == std::string(4, '\0'), "a value type is unknown");
        if (type == std::string(4, '\0'))
            record.valueType.clear();
        const ByteView payload = cursor.take(length);
        record.payload.assign(payload.begin(), payload.end());
        result.records.push_back(std::move(record));
    }

    ByteView bytes;
    std::vector<std::uint8_t> owners; ///< how many things claim each byte
    std::uint32_t allocatorOffset = 0;
    std::uint32_t allocatorSize = 0;
    std::vector<std::uint32_t> addresses;
    std::set<std::uint32_t> visited;
    StoredFile result;
};

} // namespace

StoredFile checkStore(ByteView file) { return Checker(file).run(); }

} // namespace halvo::test
