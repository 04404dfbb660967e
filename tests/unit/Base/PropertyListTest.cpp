#include <Base/PropertyList.h>

#include <Base/Base64.h>
#include <Base/BinaryWriter.h>
#include <Support/TemporaryFolder.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::readText;
using test::TemporaryFolder;

/// One of each kind, and the ends of each range.
PropertyList sample() {
    PropertyListArray many;
    for (int index = 0; index < 300; ++index) // beyond what one byte refers to
        many.push_back(PropertyList(index));
    return PropertyListDictionary{
        {"", ""},
        {"arrays", PropertyListArray{PropertyListArray(), PropertyListArray{true, false, true}}},
        {"data", Bytes(200, 0x5A)},
        {"date", *parseISO8601("2026-11-22T09:30:05Z")},
        {"dictionary", PropertyListDictionary()},
        {"empty data", Bytes()},
        {"escapes <&>\"'", "a & b < c > d \" ' \t\n ]]>"},
        {"integers", PropertyListArray{0, -1, 255, 256, 65536, std::int64_t(1) << 32,
                                       std::numeric_limits<std::int64_t>::max(),
                                       std::numeric_limits<std::int64_t>::min()}},
        {"long text", std::string(70000, 'x')},
        {"many", many},
        {"reals", PropertyListArray{0.5, -1e300, 5e-324, 0.1}},
        {"unicode", "Caf\u00e9 \u65e5\u672c \U0001F600"},
        {"unsigned", PropertyListUnsigned{18446744073709551615u}},
    };
}

PropertyList parse(std::string_view text) { return PropertyList::parse(viewBytes(text)); }

PropertyList parseXML(const std::string& body) {
    return parse("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + body + "</plist>");
}

std::string problem(std::string_view input) {
    try {
        (void)parse(input);
    } catch (const PropertyListError& error) {
        return error.description();
    }
    return "was read";
}

/// Runs Python's own property list module on files of the folder.
void runPython(const TemporaryFolder& folder, const std::string& script) {
    const auto path =
        folder.write("script.py", "import plistlib, os\nfrom datetime import datetime\n" + script);
    const std::string command =
        "cd '" + folder.path().string() + "' && /usr/bin/python3 '" + path.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << script;
}

constexpr const char* pythonSample = R"(
sample = {
    "": "",
    "arrays": [[], [True, False, True]],
    "data": b"\x5a" * 200,
    "date": datetime(2026, 11, 22, 9, 30, 5),
    "dictionary": {},
    "empty data": b"",
    "escapes <&>\"'": "a & b < c > d \" ' \t\n ]]>",
    "integers": [0, -1, 255, 256, 65536, 1 << 32, (1 << 63) - 1, -(1 << 63)],
    "long text": "x" * 70000,
    "many": list(range(300)),
    "reals": [0.5, -1e300, 5e-324, 0.1],
    "unicode": "Caf\u00e9 \u65e5\u672c \U0001F600",
    "unsigned": (1 << 64) - 1,
}
)";

TEST(PropertyList, agreesWithPythonByteForByte) {
    const TemporaryFolder folder;
    runPython(folder, std::string(pythonSample) +
                          "open('xml', 'wb').write(plistlib.dumps(sample, sort_keys=True))\n"
                          "open('binary', 'wb').write(plistlib.dumps(sample, fmt=plistlib.FMT_BINARY))\n");
    EXPECT_EQ(viewText(sample().binary()), readText(folder / "binary"));
    EXPECT_EQ(parse(readText(folder / "binary")), sample());
    EXPECT_EQ(parse(readText(folder / "xml")), sample());
    EXPECT_EQ(viewText(sample().xml()), readText(folder / "xml"));
}

TEST(PropertyList, isReadByPlistutil) {
    const TemporaryFolder folder;
    folder.write("ours", viewText(sample().binary()));
    const std::string paths =
        "-i '" + (folder / "ours").string() + "' -o '" + (folder / "theirs").string() + "'";
    ASSERT_EQ(std::system(("plistutil -f xml " + paths).c_str()), 0);
    const PropertyList theirs = parse(readText(folder / "theirs"));
    for (const char* key : {"arrays", "data", "date", "integers", "many", "unicode", "unsigned", "long text"})
        EXPECT_EQ(*theirs.find(key), *sample().find(key)) << key;
    folder.write("ours", viewText(sample().xml()));
    ASSERT_EQ(std::system(("plistutil -f bin " + paths).c_str()), 0);
    const PropertyList binary = parse(readText(folder / "theirs"));
    for (const char* key : {"arrays", "data", "date", "many", "unicode", "long text", "escapes <&>\"'"})
        EXPECT_EQ(*binary.find(key), *sample().find(key)) << key;
}

TEST(PropertyList, writesWhatHasNoOrdinaryForm) {
    const PropertyList reals = PropertyListArray{HUGE_VAL, -HUGE_VAL, std::nan(""), 2.0};
    for (const Bytes& bytes : {reals.xml(), reals.binary()}) {
        const PropertyList list = PropertyList::parse(bytes);
        const auto& back = *list.as<PropertyListArray>();
        EXPECT_EQ(*back.at(0).as<double>(), HUGE_VAL);
        EXPECT_EQ(*back.at(1).as<double>(), -HUGE_VAL);
        EXPECT_TRUE(std::isnan(*back.at(2).as<double>()));
        EXPECT_EQ(*back.at(3).as<double>(), 2.0);
    }
    const PropertyList uid = PropertyListArray{PropertyListUID{3}, PropertyListUID{70000}};
    EXPECT_EQ(PropertyList::parse(uid.binary()), uid);
    EXPECT_EQ(PropertyList::parse(uid.xml()), (PropertyListArray{PropertyListDictionary{{"CF$UID", 3}},
                                                                 PropertyListDictionary{{"CF$UID", 70000}}}));
    EXPECT_EQ(PropertyList::parse(PropertyList("a\r\nb\x1b").xml()), PropertyList("a\r\nb\x1b"));
}

TEST(PropertyList, refusesToWriteWhatTheFormCannotHold) {
    for (const std::string& text : {std::string(1, '\0'), std::string("a\xff")}) {
        EXPECT_THROW((void)PropertyList(text).xml(), PropertyListError) << text;
        EXPECT_THROW((void)PropertyList(PropertyListDictionary{{text, 1}}).xml(), PropertyListError) << text;
    }
    EXPECT_THROW((void)PropertyList("a\xff").binary(), PropertyListError);
    EXPECT_EQ(PropertyList::parse(PropertyList("\x1b").binary()), PropertyList("\x1b"));
    EXPECT_THROW((void)PropertyList(*dateFromReferenceSeconds(3e11)).xml(), PropertyListError);
}

TEST(XMLValue, isRead) {
    const struct {
        const char* body;
        PropertyList expected;
    } cases[] = {
        {"<integer>0x1F</integer>", 31},
        {"<integer>9223372036854775808</integer>", PropertyListUnsigned{9223372036854775808u}},
        {"<string> a\n b </string>", " a\n b "},
        {"<string>a<![CDATA[<b>]]><!-- c -->d</string>", "a<b>d"},
        {"<string>&amp;&#233;&#x1F600;</string>", "&\u00e9\U0001F600"},
        {"<data>\n\tAQ\n\tID\n</data>", Bytes({1, 2, 3})},
        {"<string>a\x0B&#27;</string>", "a\x0B\x1b"},
        {"<? *** a list ><?><!-- a -- b --><true/>", true},
        {"<string a=\"b\" >c</string >", "c"},
        {"<array><key>a</key></array>", PropertyListArray{"a"}},
        {"<true></true>", true},
        {"<dict><key>a</key><true/><key>a</key><false/></dict>", PropertyListDictionary{{"a", false}}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        EXPECT_EQ(parseXML(row.body), row.expected);
    }
}

TEST(PropertyList, readsEveryEncodingThatXMLDeclares) {
    EXPECT_EQ(parse("\xef\xbb\xbf<plist><string>\u00e9</string></plist>"), PropertyList("\u00e9"));
    EXPECT_EQ(parse("<?xml version='1.0' encoding='ISO-8859-1'?><plist><string>\xe9</string></plist>"),
              PropertyList("\u00e9"));
    std::string wide("\xff\xfe", 2);
    for (const char character : std::string("<plist><true/></plist>"))
        wide += {character, '\0'};
    EXPECT_EQ(parse(wide), PropertyList(true));
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t index = 0; index < count; ++index)
        result += text;
    return result;
}

TEST(PropertyList, readsNestingUpToTheLimit) {
    const std::string text =
        repeated("<array>", PropertyList::maxDepth) + repeated("</array>", PropertyList::maxDepth);
    const PropertyList list = parse(text);
    EXPECT_EQ(PropertyList::parse(list.binary()), list);
}

/// A binary list put together by hand: objects as bytes, one-byte offsets and references.
std::string binaryList(const std::vector<std::string>& objects, std::uint64_t top = 0) {
    BinaryWriter writer;
    writer.writeText("bplist00");
    std::vector<std::uint8_t> offsets;
    for (const std::string& object : objects) {
        offsets.push_back(static_cast<std::uint8_t>(writer.size()));
        writer.writeText(object);
    }
    const std::size_t table = writer.size();
    writer.writeBytes(offsets);
    writer.writeZeros(6);
    writer.writeUInt8(1);
    writer.writeUInt8(1);
    writer.writeUInt64(objects.size());
    writer.writeUInt64(top);
    writer.writeUInt64(table);
    return std::string(viewText(writer.bytes()));
}

/// Arrays that each refer `width` times to the next one, over a truth value.
std::string sharedArrays(std::size_t depth, std::size_t width) {
    std::vector<std::string> objects;
    for (std::size_t index = 1; index <= depth; ++index)
        objects.push_back(std::string(1, static_cast<char>(0xA0 + width)) +
                          std::string(width, static_cast<char>(index)));
    objects.push_back("\x09");
    return binaryList(objects);
}

/// An unused object, so that a small list may hold as many values as the nesting goes deep.
const std::string padding(220, '\x09');

TEST(BinaryPropertyList, readsHandMadeObjects) {
    using namespace std::string_literals;
    EXPECT_EQ(parse(binaryList({"\x08"})), PropertyList(false));
    EXPECT_EQ(parse(binaryList({"\x22\x3f\x00\x00\x00"s})), PropertyList(0.5));
    EXPECT_EQ(parse(binaryList({"\x11\xff\xff"})), PropertyList(65535));
    EXPECT_EQ(parse(binaryList({"\x14"s + std::string(16, '\xff')})), PropertyList(-1));
    EXPECT_EQ(parse(binaryList({"\x83"s + "\x00\x01\x00\x00"s})), PropertyList(PropertyListUID{65536}));
    EXPECT_EQ(parse(binaryList({"\x62\xd8\x3d\xde\x00"s})), PropertyList("\U0001F600"));
    EXPECT_EQ(parse(binaryList({"\x51z", "\xA1\x00"s}, 1)), PropertyList(PropertyListArray{"z"}));
}

TEST(Refusal, saysWhy) {
    const struct {
        std::string input;
        const char* says;
    } cases[] = {{"", "is empty"},
                 {"{\"a\": 1}", "JSON are not read"},
                 {"{ a = 1; }", "Old text property lists"},
                 {"<plist></plist>", "holds no value"},
                 {"<plist><true/><true/></plist>", "more than one value"},
                 {"<plist><plist><true/></plist></plist>", "unknown element \"plist\""},
                 {"<plist><dict><key>a</key></dict></plist>", "\"a\" has no value"},
                 {"<plist><dict><true/></dict></plist>", "has no key"},
                 {"<plist><dict></array></plist>", "has no key"},
                 {"<plist><dict>x</dict></plist>", "outside of a value"},
                 {"<plist><string>x</real></plist>", "\"string\" is not closed"},
                 {"<plist><string>a<b/></string></plist>", "\"string\" is not closed"},
                 {"<plist><true>x</true></plist>", "\"true\" does not hold one"},
                 {"<plist><integer>12a</integer></plist>", "\"integer\""},
                 {"<plist><integer>18446744073709551616</integer></plist>", "\"integer\""},
                 {"<plist><date>yesterday</date></plist>", "\"date\""},
                 {"<plist><data>A*</data></plist>", "\"data\""},
                 {"<plist><dict><key>a</key><str", "damaged in line 1"},
                 {"<plist>\n<string>\n\xff</string></plist>", "line 2: a text is not UTF-8"},
                 {"<?xml version='1.0' encoding='EUC-JP'?><plist><string>\xff\xff</string></plist>",
                  "not text in the encoding \"EUC-JP\""},
                 {"<?xml version='1.0' encoding='Klingon'?><plist/>", "\"Klingon\" is not known"},
                 {"<plist><string>&#xD800;</string></plist>", "\"&#xD800\" is not a reference"},
                 {"<plist><string>&#0;</string></plist>", "\"&#0\" is not a reference"},
                 {"<!DOCTYPE plist [<!ENTITY e \"x\">]><plist><string>&e;</string></plist>", "\"&e\" is not"},
                 {repeated("<array>", 201) + repeated("</array>", 201), "nested too deeply"},
                 {repeated("<array>", 200'000), "nested"},
                 {"bplist15" + std::string(40, '\0'), "version"},
                 {"bplist00" + std::string(32, '\0'), "impossible sizes"},
                 {binaryList({std::string("\xA1\x00", 2), padding}), "nested too deeply"},
                 {sharedArrays(60, 3), "more than Halvo reads"},
                 {binaryList({"\xA1\x05"}), "reference leads nowhere"},
                 {binaryList({"\xD1\x01\x01", "\x09"}), "key is not a text"},
                 {binaryList({"\x70"}), "unknown type"},
                 {binaryList({"\x4F\x13\x7f\xff\xff\xff\xff\xff\xff\xff"}), "cut off"},
                 {binaryList({"\x4F\x09"}), "length is not an integer"},
                 {binaryList({"\x14" + std::string(15, '\x01') + "\x01"}), "too large"},
                 {binaryList({"\x51\xe9"}), "not ASCII"},
                 {binaryList({std::string("\x61\xd8\x3d", 3)}), "half of a character"},
                 {binaryList({std::string("\x33\x7f\xf8\0\0\0\0\0\0", 9)}), "date"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        EXPECT_THAT(problem(row.input), testing::HasSubstr(row.says));
    }
}

TEST(BinaryPropertyList, survivesTruncationAndEveryChangedByte) {
    const PropertyList list = PropertyListDictionary{
        {"a", PropertyListArray{1, "x\u00e9", Bytes{1, 2}}}, {"b", *dateFromReferenceSeconds(1)}, {"c", 0.5}};
    const Bytes whole = list.binary();
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_THROW((void)PropertyList::parse(ByteView(whole).first(length)), PropertyListError) << length;
    for (std::size_t index = 0; index < whole.size(); ++index)
        for (const int change : {0x01, 0x80, 0xFF}) {
            Bytes changed = whole;
            changed[index] = static_cast<std::uint8_t>(changed[index] ^ change);
            try {
                (void)PropertyList::parse(changed);
            } catch (const PropertyListError&) { // nothing else may come out
            }
        }
}

} // namespace
} // namespace halvo
