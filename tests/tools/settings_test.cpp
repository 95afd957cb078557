// The item's properties and the engine's attributes as a person writes them.

#include <gtest/gtest.h>

#include <cstring>

#include "engine/engine.h"
#include "platform/wia.h"
#include "tests/pictures/picture_files.h"
#include "tools/palette_choice.h"
#include "tools/process/attribute_writes.h"
#include "tools/process/model_item.h"

namespace {

std::string Refusal(CModelItem& item, const std::string& text) {
    std::string error;
    EXPECT_FALSE(item.Assign(text, &error)) << text;
    return error;
}

void ExpectTaken(CModelItem& item, const std::string& text) {
    std::string error;
    EXPECT_TRUE(item.Assign(text, &error)) << error;
}

LONG Read(CModelItem& item, DWORD id) {
    LONG value = -99999;
    EXPECT_EQ(item.ReadLong(id, &value), S_OK) << id;
    return value;
}

TEST(ModelItem, TakesWhatTheDriversPropertiesTake) {
    CModelItem item;
    EXPECT_EQ(Read(item, WIA_IPS_BRIGHTNESS), 0);
    ExpectTaken(item, "brightness=-1000");
    EXPECT_EQ(Refusal(item, "Brightness=1001"),
              "Brightness cannot be '1001' (allowed: -1000 to 1000)");
    EXPECT_EQ(Read(item, WIA_IPS_BRIGHTNESS), -1000) << "a refused value changes nothing";
    ExpectTaken(item, "4103=2");
    EXPECT_EQ(Read(item, WIA_IPA_DATATYPE), WIA_DATA_GRAYSCALE);
    EXPECT_NE(Refusal(item, "Data Type=4").find("(allowed: "), std::string::npos);
    EXPECT_EQ(Refusal(item, "Sharpness=1"),
              "there is no property 'Sharpness' (see --list-properties)");
    EXPECT_EQ(Refusal(item, "=1"), "'=1' is not of the form NAME=VALUE");
    LONG value = 0;
    EXPECT_EQ(item.ReadLong(71685, &value), E_INVALIDARG) << "the engine doesn't read it";
}

TEST(ModelItem, TakesRecordsAsNumbersWithinTheRangeOfTheirTable) {
    CModelItem item;
    double matrix[9] = {};
    EXPECT_EQ(item.ReadBin(71699, sizeof(matrix), reinterpret_cast<BYTE*>(matrix)), S_OK);
    EXPECT_EQ(matrix[8], 1.0) << "as built in";
    ExpectTaken(item, "71699=1.5,0,0,0,-5,0,0,0,+5");
    EXPECT_EQ(item.ReadBin(71699, sizeof(matrix), reinterpret_cast<BYTE*>(matrix)), S_OK);
    EXPECT_EQ(std::vector<double>(matrix, matrix + 9),
              (std::vector<double>{1.5, 0, 0, 0, -5, 0, 0, 0, 5}));
    EXPECT_EQ(item.ReadBin(71699, 8, reinterpret_cast<BYTE*>(matrix)), E_INVALIDARG);
    ExpectTaken(item, "Private Defaults=300,2000,0,1,3,1200,1000,1,0,235.9,235");
    const BYTE defaults[40] = {1, 0, 0, 0, 44,  1, 0,   0, 208, 7, 0,   0, 0, 1,
                               0, 0, 3, 0, 0,   0, 176, 4, 0,   0, 232, 3, 0, 0,
                               1, 0, 0, 0, 235, 0, 0,   0, 235, 0, 0,   0};
    BYTE read[40] = {};
    EXPECT_EQ(item.ReadBin(71698, sizeof(read), read), S_OK);
    EXPECT_EQ(std::memcmp(read, defaults, sizeof(read)), 0);
    ExpectTaken(item, "negative coefficients=0,0,0,1,1,1,1,1,1,0.065");
    for (const char* text :
         {"71699=1,0,0,0,1,0,0,0", "71699=1,0,0,0,1,0,0,0,1,0", "71699=1,0,0,0,1,0,0,0,5.000001",
          "71699=1,0,0,0,nan,0,0,0,1", "71699=1,,0,0,1,0,0,0,1", "71702=-1,0,0,1,1,1,1,1,1"})
        EXPECT_NE(Refusal(item, text).find(" numbers from "), std::string::npos) << text;
    EXPECT_NE(Refusal(item, "Private Property=1").find("by its id"), std::string::npos);
}

// What a write puts on the board.
std::uint64_t WordOf(const std::string& text, std::int32_t id) {
    CQLEngine engine;
    engine.Init();
    std::string error;
    const auto write = CAttributeWrite::Parse(text, &error);
    EXPECT_TRUE(write.has_value()) << error;
    if (write)
        write->Apply(engine);
    return engine.GetValue(id);
}

TEST(Palettes, AreGimpsOfOneToSoManyColours) {
    const CTempFolder folder;
    const std::string file = folder / "p.gpl";
    const std::string head = "GIMP Palette\r\nName: x\nColumns: 16\n# note\n\n";
    std::string many = head;
    for (int i = 0; i < 256; ++i)
        many += "  1 2\t3  like all others\n";
    // What the file says, its colours, and the words with which it is refused.
    const std::tuple<std::string, int, const char*> kCases[] = {
        {head, -1, "has no colours"},
        {head + "0 128 255", 1, ""},
        {head + "0 0 0\r\n255 255 255\tWhite\r\n", 2, ""},
        {many, 256, ""},
        {many.substr(0, many.rfind("  1")), 255, ""},
        {many + "4 5 6\n", -1, "line 262: a palette has at most 256 colours"},
        {"JASC-PAL\n", -1, "line 1: 'JASC-PAL' is not the 'GIMP Palette'"},
        {head + "1 2\n", -1, "line 6: '1 2' is no colour"},
        {head + "1 2 256\n", -1, "line 6: '1 2 256' is no colour"},
        {head + "1 2 3x\n", -1, "line 6: "},
        {head + "1 2 99999999999\n", -1, "line 6: "},
        {head + std::string(5000, '#') + "\n1 2 3\n#" + std::string(5000, '1'), 1, ""},
        {head + std::string(5000, ' ') + "1\n", -1, "line 6: '"},
        {head + "1 2 3 " + std::string(5000, 'x'), -1, "line 6: '1 2 3 x"},
        {head + "\x1b[31m\n", -1, "line 6: '?[31m' is no colour"}};
    for (const auto& [text, colors, message] : kCases) {
        WriteBytes(file, Bytes(text.begin(), text.end()));
        std::string error;
        const auto palette = ParsePalette(file, &error);
        EXPECT_EQ(palette ? palette->m_colors.m_count : -1, colors) << error;
        EXPECT_EQ(error.empty(), *message == 0) << error;
        EXPECT_NE(error.find(message), std::string::npos) << error;
    }
}

TEST(AttributeWrites, ReadsValuesByTheKindOfTheAttribute) {
    EXPECT_EQ(WordOf("QL_ATTR_INVERT=true", 20165), 1u);
    EXPECT_EQ(WordOf("invert=OFF", 20165), 0u);
    EXPECT_EQ(WordOf("0x4F71=0x10", 20337), 16u);
    EXPECT_EQ(WordOf("QL_ATTR_SATURATION=1.5", 20162), 0x18000u);
    CQLEngine engine;
    engine.Init();
    std::string error;
    CAttributeWrite::Parse("THRESHOLD_RECT=1,-2,30,40", &error)->Apply(engine);
    QLRect rect;
    engine.GetRect(QL_ATTR_THRESHOLD_RECT, &rect);
    EXPECT_EQ(rect.left, -2);
    EXPECT_EQ(rect.bottom, 30);
    CAttributeWrite::Parse("DEVICE_MATRIX=1,2,3,4,5,6,7,8,9.5", &error)->Apply(engine);
    EXPECT_EQ(WordPointer<const double>(engine.GetValue(QL_ATTR_DEVICE_MATRIX))[8], 9.5);
    CClientAttributes client(engine.Tree());
    for (const char* text : {"CHANNEL_SHARPEN_1=60", "CHANNEL_SHARPEN_1=-7"}) {
        const auto write = CAttributeWrite::Parse(text, &error);
        ASSERT_TRUE(write->IsClients()) << "nobody in the engine provides it";
        client.Give(*write);
    }
    EXPECT_EQ(engine.GetInteger(QL_ATTR_CHANNEL_SHARPEN_1), -7);
}

TEST(AttributeWrites, RefusesWithTheNameAndWhatIsAllowed) {
    const struct {
        const char* text;
        const char* error;
    } table[] = {
        {"20015=1", "there is no attribute '20015' (see --list-attributes)"},
        {"QL_ATTR_INVERT", "'QL_ATTR_INVERT' is not of the form NAME=VALUE"},
        {"QL_ATTR_INVERT=2", "QL_ATTR_INVERT cannot be '2' (allowed: true or false)"},
        {"20337=65536", "QL_ATTR_THRESHOLD cannot be '65536' (allowed: 0 to 65535)"},
        {"SATURATION=nan", "QL_ATTR_SATURATION cannot be 'nan' (allowed: 0 to 1.5)"},
        {"CMD_FEED=1", "QL_ATTR_CMD_FEED cannot be '1' (allowed: fire)"},
        {"POST_MATRIX=1,2",
         "QL_ATTR_POST_MATRIX cannot be '1,2' (allowed: 9 numbers, commas between them)"},
        {"THRESHOLD_RECT=1,2,3",
         "QL_ATTR_THRESHOLD_RECT cannot be '1,2,3' (allowed: top,left,bottom,right)"},
    };
    for (const auto& row : table) {
        std::string error;
        EXPECT_FALSE(CAttributeWrite::Parse(row.text, &error).has_value()) << row.text;
        EXPECT_EQ(error, row.error);
    }
}

}  // namespace
