#include <gtest/gtest.h>

#include <string>

#include "platform/internal/registry_text.h"

namespace {

using platform::ParseRegistry;
using platform::RegistryKey;
using platform::RegistryText;
using platform::RegistryValue;
using namespace std::string_literals;

const std::string kTitle = "Windows Registry Editor Version 5.00\n";

std::string InKey(const std::string& lines) {
    return kTitle + "\n[HKEY_CURRENT_USER\\K]\n" + lines;
}

RegistryKey Parsed(const std::string& file) {
    RegistryKey tree;
    EXPECT_EQ(ParseRegistry(file, tree), 0u) << file;
    return tree;
}

// A value of the key K; none and without data if it isn't there.
RegistryValue ValueOf(const std::string& file, const std::string& name) {
    RegistryKey tree = Parsed(file);
    const std::string path[] = {"HKEY_CURRENT_USER", "K"};
    const RegistryKey* key = FindKey(tree, path);
    const RegistryValue* value = key ? key->values.Find(name) : nullptr;
    return value ? *value : RegistryValue();
}

// A file with one value of that kind.
std::string FileWith(DWORD type, const std::string& data) {
    RegistryKey tree;
    const std::string path[] = {"HKEY_CURRENT_USER", "K"};
    RegistryValue& value = MakeKey(tree, path).values.FindOrAdd("V");
    value.type = type;
    value.data = data;
    return RegistryText(tree);
}

std::string AsUtf16(const std::string& ascii) {
    std::string bytes = "\xFF\xFE";
    for (const char c : ascii)
        bytes += {c, '\0'};
    return bytes;
}

TEST(RegistryFormat, ReadsEveryKindOfValueAndEncoding) {
    const struct {
        const char* line;
        const char* name;
        DWORD type;
        std::string data;
    } kCases[] = {
        {R"("T"="C:\\dir \"x\"")", "T", REG_SZ, "C:\\dir \"x\"\0"s},
        {R"(@="default")", "", REG_SZ, "default\0"s},
        {R"("a=\\\"b"="")", "a=\\\"b", REG_SZ, "\0"s},
        {R"(  "S" = " x " )", "S", REG_SZ, " x \0"s},
        {R"("n"=dword:FEDCBA98)", "N", REG_DWORD, "\x98\xBA\xDC\xFE"s},
        {R"("B"=hex:00,Ff,7)", "B", REG_BINARY, "\0\xFF\x07"s},
        {"\"C\"=hex:01,\\\r\n  02,\\\n  03", "C", REG_BINARY, "\x01\x02\x03"s},
        {R"("W"=hex(b):01,02)", "W", 11, "\x01\x02"s},
        {R"("X"=hex(2):25,00,00,00)", "X", REG_EXPAND_SZ, "%\0"s},
        {R"("M"=hex(7):61,00,00,00,62,00)", "M", REG_MULTI_SZ, "a\0b\0\0"s},
        {R"("R"=hex(1):e4,00,3d,d8,00,de)", "R", REG_SZ, "\xC3\xA4\xF0\x9F\x98\x80\0"s},
    };
    for (const auto& c : kCases) {
        const RegistryValue value = ValueOf(InKey(c.line), c.name);
        EXPECT_EQ(value.type, c.type) << c.line;
        EXPECT_EQ(value.data, c.data) << c.line;
    }
    const std::string file = InKey("\"N\"=dword:00000007\n");
    for (const std::string& bytes : {"\xEF\xBB\xBF" + file, AsUtf16(file)})
        EXPECT_EQ(ValueOf(bytes, "N").data, "\x07\0\0\0"s);
}

TEST(RegistryFormat, NamesTheLineThatIsWrong) {
    // With its zero the text has a MiB, which is the most.
    const std::string largest = "@=\"" + std::string((1 << 20) - 1, 'd');
    const struct {
        std::string file;
        std::size_t line;
    } kCases[] = {
        {"", 0},
        {"REGEDIT4\n", 1},
        {"\xFE\xFF\0W"s, 1},
        {"\xFF\xFE\x00\xD8"s, 1},
        {kTitle + "\"value\"=\"without key\"", 2},
        {kTitle + "[HKEY_CURRENT_USER\\K", 2},
        {kTitle + "[HKEY_CURRENT_USER\\\\K]", 2},
        {kTitle + "[HKEY_CURRENT_USER\\" + std::string(256, 'k') + "]", 2},
        {InKey("\"name\"=\"x\\"), 4},
        {InKey("\"name\"=\"C:\\dir\""), 4},
        {InKey("\"name\"=\"x\" y"), 4},
        {InKey("\"name\"=\"bad \xC3\""), 1},
        {InKey("\"tab\tname\"=\"x\""), 4},
        {InKey("\"name\"=dword:"), 4},
        {InKey("\"name\"=dword:123456789"), 4},
        {InKey("\"name\"=hex:1,,2"), 4},
        {InKey("\"name\"=hex:01,\\\n\"next\"=\"x\""), 5},
        {InKey("\"name\"=hex(1):41,00,42"), 4},
        {InKey("\"name\"=text:x"), 4},
        {InKey("\n; comment\nrubbish"), 6},
        {InKey("[-HKEY_CURRENT_USER\\K]\n\"name\"=\"x\""), 5},
        {InKey('"' + std::string(16383, 'n') + "\"=\"\""), 0},
        {InKey('"' + std::string(16384, 'n') + "\"=\"\""), 4},
        {InKey(largest + '"'), 0},
        {InKey(largest + "d\""), 4},
    };
    for (const auto& c : kCases) {
        RegistryKey tree;
        EXPECT_EQ(ParseRegistry(c.file, tree), c.line) << c.file.substr(0, 200);
    }
}

TEST(RegistryFormat, WritesWhatPeopleCanRead) {
    const std::string written = kTitle + R"(
; of the key
[HKEY_CURRENT_USER\K]
@="default"
; of the value
"a \\ \"b\""="C:\\dir \"x\""
"NoNumber"=hex(4):2a,00
"Tab"=hex(1):61,00,09,00,00,00
"Byte"=hex(1):ff,dc,00,00

[HKEY_CURRENT_USER\K\Below]

[HKEY_LOCAL_MACHINE\A\B]

; at the end
)";
    EXPECT_EQ(RegistryText(Parsed(written)), written);
    // What the reader forgives comes out in one form, in the order of first appearance. Roots that
    // hold nothing are left out.
    const std::string forgiven =
        kTitle +
        "[HKEY_A]\r\n\"z\"=\"1\"\r\n[HKEY_B\\C]\r\n[HKEY_a]\r\n\"a\" = dword:7\n"
        "\"Z\"=\"2\"\n[HKEY_D]\n\"x\"=\"\"\n\"x\"=-\n[-HKEY_b\\c]\n";
    EXPECT_EQ(RegistryText(Parsed(forgiven)),
              kTitle + "\n[HKEY_A]\n\"z\"=\"2\"\n\"a\"=dword:00000007\n");

    const std::string list = FileWith(REG_BINARY, std::string(200, 'x'));
    EXPECT_EQ(ValueOf(list, "V").data, std::string(200, 'x'));
    for (std::string_view lines = list; !lines.empty();)
        EXPECT_LE(platform::NextLine(lines).size(), 80u);
}

TEST(RegistryFormat, LosesNoByteOfAnyText) {
    for (int first = 0; first < 256; ++first) {
        for (const char* tail : {"", "\x80", "\xBF\xBF", "x\xED\xA0\x80", "\xF0\x9F\x98\x80"}) {
            const std::string data = static_cast<char>(first) + std::string(tail) + '\0';
            EXPECT_EQ(ValueOf(FileWith(REG_SZ, data), "V").data, data) << first << tail;
        }
    }
}

}  // namespace
