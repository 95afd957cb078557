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

// The value of a key directly below HKEY_CURRENT_USER\K; a type that nothing has if it isn't there.
RegistryValue ValueOf(const std::string& file, const std::string& name) {
    RegistryKey tree;
    EXPECT_EQ(ParseRegistry(file, tree), 0u) << file;
    const std::string path[] = {"HKEY_CURRENT_USER", "K"};
    const RegistryKey* key = FindKey(tree, path);
    const RegistryValue* value = key ? key->values.Find(name) : nullptr;
    RegistryValue missing;
    missing.type = 0xDEAD;
    return value ? *value : missing;
}

std::string InKey(const std::string& lines) {
    return kTitle + "\n[HKEY_CURRENT_USER\\K]\n" + lines;
}

std::string Rewritten(const std::string& file) {
    RegistryKey tree;
    EXPECT_EQ(ParseRegistry(file, tree), 0u) << file;
    return RegistryText(tree);
}

std::string AsUtf16(const std::string& ascii) {
    std::string bytes = "\xFF\xFE";
    for (const char c : ascii)
        bytes += {c, '\0'};
    return bytes;
}

TEST(RegistryFormat, ReadsEveryKindOfValue) {
    const struct {
        const char* line;
        const char* name;
        DWORD type;
        std::string data;
    } kCases[] = {
        {R"("T"="C:\\dir \"x\"")", "T", REG_SZ, "C:\\dir \"x\"\0"s},
        {R"(@="default")", "", REG_SZ, "default\0"s},
        {R"("a=\\\"b"="")", "a=\\\"b", REG_SZ, "\0"s},
        {"\"U\"=\"gr\xC3\xBC\xC3\x9F\"", "U", REG_SZ, "gr\xC3\xBC\xC3\x9F\0"s},
        {R"(  "S" = " x " )", "S", REG_SZ, " x \0"s},
        {R"("N"=dword:0000002a)", "N", REG_DWORD, "\x2A\0\0\0"s},
        {R"("n"=dword:FEDCBA98)", "N", REG_DWORD, "\x98\xBA\xDC\xFE"s},
        {R"("B"=hex:00,Ff,7)", "B", REG_BINARY, "\0\xFF\x07"s},
        {R"("E"=hex:)", "E", REG_BINARY, ""s},
        {"\"C\"=hex:01,\\\r\n  02,\\\n  03", "C", REG_BINARY, "\x01\x02\x03"s},
        {R"("O"=hex(0):05)", "O", REG_NONE, "\x05"s},
        {R"("W"=hex(b):01,02)", "W", 11, "\x01\x02"s},
        {R"("P"=hex(1):41,00,0a,00,e4,00)", "P", REG_SZ, "A\n\xC3\xA4\0"s},
        {R"("X"=hex(2):25,00,00,00)", "X", REG_EXPAND_SZ, "%\0"s},
        {R"("M"=hex(7):61,00,00,00,62,00)", "M", REG_MULTI_SZ, "a\0b\0\0"s},
        {R"("R"=hex(1):3d,d8,00,de)", "R", REG_SZ, "\xF0\x9F\x98\x80\0"s},
    };
    for (const auto& c : kCases) {
        const RegistryValue value = ValueOf(InKey(c.line), c.name);
        EXPECT_EQ(value.type, c.type) << c.line;
        EXPECT_EQ(value.data, c.data) << c.line;
    }
}

TEST(RegistryFormat, ReadsTheEncodingsOfExportedFiles) {
    const std::string file = InKey("\"N\"=dword:00000007\n");
    for (const std::string& bytes : {file, "\xEF\xBB\xBF" + file, AsUtf16(file)})
        EXPECT_EQ(ValueOf(bytes, "N").data, "\x07\0\0\0"s);
    RegistryKey empty;
    EXPECT_EQ(ParseRegistry("", empty), 0u) << "a file without a byte has nothing to lose";
}

TEST(RegistryFormat, NamesTheLineThatIsWrong) {
    const std::string key = kTitle + "[HKEY_CURRENT_USER\\K]\n";
    const struct {
        std::string file;
        std::size_t line;
    } kCases[] = {
        {"\n", 1},
        {"REGEDIT4\n", 1},
        {"\xFE\xFF\0W"s, 1},
        {AsUtf16(kTitle) + "x", 1},
        {"\xFF\xFE\x00\xD8"s, 1},
        {kTitle + "\"value\"=\"without key\"", 2},
        {kTitle + "[HKEY_CURRENT_USER\\K", 2},
        {kTitle + "[]", 2},
        {kTitle + "[Software\\K]", 2},
        {kTitle + "[HKEY_CURRENT_USER\\]", 2},
        {kTitle + "[HKEY_CURRENT_USER\\\\K]", 2},
        {kTitle + "[HKEY_CURRENT_USER\\" + std::string(256, 'k') + "]", 2},
        {key + "name=\"x\"", 3},
        {key + "\"name\"", 3},
        {key + "\"name\"=", 3},
        {key + "\"name=\"x\"", 3},
        {key + "\"name\"=\"x", 3},
        {key + "\"name\"=\"x\\", 3},
        {key + "\"name\"=\"C:\\dir\"", 3},
        {key + "\"name\"=\"x\" y", 3},
        {key + "\"name\"=\"bad \xC3\"", 1},
        {key + "\"tab\tname\"=\"x\"", 3},
        {key + "\"name\"=dword:", 3},
        {key + "\"name\"=dword:123456789", 3},
        {key + "\"name\"=dword:0x1", 3},
        {key + "\"name\"=dword:-1", 3},
        {key + "\"name\"=hex:1,", 3},
        {key + "\"name\"=hex:1,,2", 3},
        {key + "\"name\"=hex:123", 3},
        {key + "\"name\"=hex:01,\\", 3},
        {key + "\"name\"=hex:01,\\\n\"next\"=\"x\"", 4},
        {key + "\"name\"=hex(1:00", 3},
        {key + "\"name\"=hex():00", 3},
        {key + "\"name\"=hex(1):41,00,42", 3},
        {key + "\"name\"=text:x", 3},
        {key + "\n; comment\nrubbish", 5},
        {key + "[-HKEY_CURRENT_USER\\K]\n\"name\"=\"x\"", 4},
    };
    for (const auto& c : kCases) {
        RegistryKey tree;
        EXPECT_EQ(ParseRegistry(c.file, tree), c.line) << c.file;
    }
}

TEST(RegistryFormat, HoldsTheLimitsOfNamesAndData) {
    const auto wrongLine = [](const std::string& line) {
        RegistryKey tree;
        return ParseRegistry(InKey(line), tree);
    };
    EXPECT_EQ(wrongLine('"' + std::string(16383, 'n') + "\"=\"\""), 0u);
    EXPECT_EQ(wrongLine('"' + std::string(16384, 'n') + "\"=\"\""), 4u);
    // With its terminating zero the first one has a MiB.
    EXPECT_EQ(wrongLine("@=\"" + std::string((1 << 20) - 1, 'd') + '"'), 0u);
    EXPECT_EQ(wrongLine("@=\"" + std::string(1 << 20, 'd') + '"'), 4u);
}

TEST(RegistryFormat, WritesWhatPeopleCanRead) {
    const std::string written = kTitle +
                                "\n; of the key\n[HKEY_CURRENT_USER\\K]\n"
                                "@=\"default\"\n"
                                "; of the value\n"
                                "\"a \\\\ \\\"b\\\"\"=\"C:\\\\dir \\\"x\\\"\"\n"
                                "\"Number\"=dword:0000002a\n"
                                "\"NoNumber\"=hex(4):2a,00\n"
                                "\"Tab\"=hex(1):61,00,09,00,00,00\n"
                                "\"Byte\"=hex(1):ff,dc,00,00\n"
                                "\"Path\"=hex(2):25,00,00,00\n"
                                "\n[HKEY_CURRENT_USER\\K\\Below]\n"
                                "\n[HKEY_LOCAL_MACHINE\\A\\B]\n"
                                "\n; at the end\n";
    EXPECT_EQ(Rewritten(written), written);
    // What the reader forgives comes out in one form, in the order of first appearance. Roots that
    // hold nothing are left out.
    EXPECT_EQ(
        Rewritten(kTitle + "[HKEY_A]\r\n\"z\"=\"1\"\r\n[HKEY_B\\C]\r\n[HKEY_a]\r\n\"a\" = dword:7\n"
                           "\"Z\"=\"2\"\n[HKEY_D]\n\"x\"=\"\"\n\"x\"=-\n[-HKEY_b\\c]\n"),
        kTitle + "\n[HKEY_A]\n\"z\"=\"2\"\n\"a\"=dword:00000007\n");
}

TEST(RegistryFormat, BreaksLongListsOfBytesIntoLines) {
    std::string bytes;
    for (int i = 0; i < 200; ++i)
        bytes += static_cast<char>(i);
    RegistryKey tree;
    const std::string path[] = {"HKEY_CURRENT_USER", "K"};
    RegistryValue& value = MakeKey(tree, path).values.FindOrAdd("N");
    value.type = REG_BINARY;
    value.data = bytes;
    const std::string text = RegistryText(tree);
    EXPECT_NE(text.find("\"N\"=hex:00,01,"), std::string::npos);
    EXPECT_NE(text.find(",\\\n  "), std::string::npos);
    std::string_view rest = text;
    while (!rest.empty())
        EXPECT_LE(platform::NextLine(rest).size(), 80u);
    EXPECT_EQ(ValueOf(text, "N").data, bytes);
}

TEST(RegistryFormat, LosesNoByteOfAnyText) {
    for (int first = 0; first < 256; ++first) {
        for (const char* tail : {"", "\x80", "\xBF\xBF", "x\xED\xA0\x80", "\xF0\x9F\x98\x80"}) {
            RegistryKey tree;
            const std::string path[] = {"HKEY_CURRENT_USER", "K"};
            RegistryValue& value = MakeKey(tree, path).values.FindOrAdd("T");
            value.type = REG_SZ;
            value.data = static_cast<char>(first) + std::string(tail) + '\0';
            EXPECT_EQ(ValueOf(RegistryText(tree), "T").data, value.data) << first << tail;
        }
    }
}

}  // namespace
