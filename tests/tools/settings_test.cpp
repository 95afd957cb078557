// The item's properties and the engine's attributes as a person writes them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>

#include "engine/engine.h"
#include "frontend/item_tables.h"
#include "platform/text.h"
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

// A property as the driver's tables have it: its default, both ends of its range or all its
// choices, by name and by id, and nothing beyond.
void ExpectAsTheDriverHasIt(CModelItem& item, const PropertyRow& row, LONG value) {
    const std::string name = TextFromWide(row.name);
    SCOPED_TRACE(name);
    EXPECT_EQ(Read(item, row.id), value);
    std::vector<LONG> valid = {FEEDER, FLATBED, DUPLEX};
    if (row.kind == PropertyRow::Kind::Range)
        valid = {row.low.In({}), row.high.In({})};
    else if (row.kind == PropertyRow::Kind::List)
        valid.assign(row.list.In({}).begin(), row.list.In({}).end());
    for (const LONG taken : valid) {
        ExpectTaken(item, name + "=" + std::to_string(taken));
        EXPECT_EQ(Read(item, row.id), taken);
        ExpectTaken(item, std::to_string(row.id) + "=" + std::to_string(taken));
    }
    const auto [low, high] = std::ranges::minmax(valid);
    for (const LONG refused : {low - 1, high + 1}) {
        const std::string text = std::to_string(refused);
        const std::string error = Refusal(item, name + "=" + text);
        EXPECT_EQ(error.find(name + " cannot be '" + text + "' (allowed: "), 0u) << error;
    }
    EXPECT_EQ(Read(item, row.id), valid.back()) << "a refused value changes nothing";
}

TEST(ModelItem, HasTheDriversPropertiesThatTheEngineReads) {
    CModelItem item;
    LONG root[kRootNumbers] = {};
    root[kSelect] = FLATBED;
    int count = 0;
    LONG value = 0;
    for (const auto& rows : {RootRows(), TopRows(), UserRows()}) {
        for (const PropertyRow& row : rows) {
            if (item.ReadLong(row.id, &value) != S_OK)
                continue;
            ++count;
            ExpectAsTheDriverHasIt(item, row, row.value.In(root));
        }
    }
    EXPECT_EQ(count, 16);
    std::ostringstream list;
    CModelItem().List(list);
    EXPECT_NE(list.str().find("6154   Brightness                  0       -1000 to 1000\n"),
              std::string::npos)
        << list.str();
    EXPECT_EQ(item.ReadLong(71685, &value), E_INVALIDARG) << "the engine doesn't read it";
}

// A record's bytes, written down by offset.
class CRecordBytes {
  public:
    explicit CRecordBytes(std::size_t size) : m_bytes(size) {}
    template <typename T>
    CRecordBytes& Put(std::size_t offset, T value) {
        std::memcpy(m_bytes.data() + offset, &value, sizeof(value));
        return *this;
    }
    CRecordBytes& PutDoubles(std::size_t offset, const std::vector<double>& values) {
        for (std::size_t i = 0; i < values.size(); ++i)
            Put(offset + 8 * i, values[i]);
        return *this;
    }
    const std::vector<BYTE>& Bytes() const { return m_bytes; }

  private:
    std::vector<BYTE> m_bytes;
};

std::vector<BYTE> ReadRecord(CModelItem& item, DWORD id, std::size_t size) {
    std::vector<BYTE> bytes(size, 0xEE);
    EXPECT_EQ(item.ReadBin(id, static_cast<ULONG>(size), bytes.data()), S_OK) << id;
    BYTE small[8];
    EXPECT_EQ(item.ReadBin(id, 8, small), E_INVALIDARG) << "a size that isn't the record's";
    return bytes;
}

TEST(ModelItem, HandsTheBuiltInTablesOverAsRecords) {
    CModelItem item;
    const std::vector<double> identity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (const DWORD id : {71699, 71700, 71701, 71709})
        EXPECT_EQ(ReadRecord(item, id, 72), CRecordBytes(72).PutDoubles(0, identity).Bytes()) << id;
    EXPECT_EQ(ReadRecord(item, 71708, 144), std::vector<BYTE>(144)) << "no density correction";
    for (const DWORD id : {71702, 71703, 71704, 71705, 71706}) {
        CRecordBytes curves(88);
        curves.Put(0, BYTE{1}).PutDoubles(8, {0, 0, 0, 1, 1, 1, 1, 1, 1});
        curves.Put(80, id == 71706 ? 0.069 : 0.0);
        EXPECT_EQ(ReadRecord(item, id, 88), curves.Bytes()) << id;
    }
    CRecordBytes gray(56);
    gray.Put(0, BYTE{1}).PutDoubles(8, {0.30, 0.59, 0.11, 0, 1, 1});
    EXPECT_EQ(ReadRecord(item, 71707, 56), gray.Bytes());
    CRecordBytes defaults(40);
    defaults.Put(0, BYTE{1}).Put(4, 200).Put(8, 200).Put(12, BYTE{1}).Put(16, 1).Put(20, 1200);
    defaults.Put(24, 980).Put(29, BYTE{1}).Put(32, 240).Put(36, 180);
    EXPECT_EQ(ReadRecord(item, 71698, 40), defaults.Bytes());
}

TEST(ModelItem, TakesRecordsAsNumbersWithinTheRangeOfTheirTable) {
    CModelItem item;
    ExpectTaken(item, "71699=1.5,0,0,0,-5,0,0,0,+5");
    EXPECT_EQ(ReadRecord(item, 71699, 72),
              CRecordBytes(72).PutDoubles(0, {1.5, 0, 0, 0, -5, 0, 0, 0, 5}).Bytes());
    ExpectTaken(item, "Private Defaults=300,2000,0,1,3,1200,1000,1,0,235.9,235");
    CRecordBytes defaults(40);
    defaults.Put(0, BYTE{1}).Put(4, 300).Put(8, 2000).Put(13, BYTE{1}).Put(16, 3).Put(20, 1200);
    defaults.Put(24, 1000).Put(28, BYTE{1}).Put(32, 235).Put(36, 235);
    EXPECT_EQ(ReadRecord(item, 71698, 40), defaults.Bytes());
    ExpectTaken(item, "negative coefficients=0,0,0,1,1,1,1,1,1,0.065");
    const char* const refused[] = {
        "71699=1,0,0,0,1,0,0,0",           // one number short
        "71699=1,0,0,0,1,0,0,0,1,0",       // one too many
        "71699=1,0,0,0,1,0,0,0,5.000001",  // out of range
        "71699=1,0,0,0,nan,0,0,0,1",      "71699=1,0,0,0,inf,0,0,0,1",
        "71699=1,,0,0,1,0,0,0,1",         "71699=",
        "71702=-1,0,0,1,1,1,1,1,1",  // 0 to 1000
        "71702=1000.5,0,0,1,1,1,1,1,1",   "71698=2001,200,1,0,1,1200,980,0,1,240,180",
    };
    for (const char* text : refused)
        EXPECT_NE(Refusal(item, text).find(" numbers from "), std::string::npos) << text;
    EXPECT_NE(Refusal(item, "Private Property=1").find("by its id"), std::string::npos);
    EXPECT_EQ(Refusal(item, "Sharpness=1"),
              "there is no property 'Sharpness' (see --list-properties)");
    EXPECT_EQ(Refusal(item, "Gamma"), "'Gamma' is not of the form NAME=VALUE");
    EXPECT_EQ(Refusal(item, "=1"), "'=1' is not of the form NAME=VALUE");
    EXPECT_NE(Refusal(item, "Gamma=2.2").find("allowed: 0 to 4000"), std::string::npos);
}

// Takes writes for one id and keeps them.
class CWrittenWord final : public CQLAttribStore {
  public:
    CWrittenWord(QLAttribTree* tree, std::int32_t id) : CQLAttribStore(tree) {
        RegisterProvider(id);
    }
    void SetAttrib(std::int32_t, std::uint64_t value) override { m_word = value; }
    void OnAttribNotify(std::int32_t) override { m_fired = true; }

    std::uint64_t m_word = 0xDEAD;
    bool m_fired = false;
};

// What a write puts on the board.
std::uint64_t WordOf(const std::string& text, std::int32_t id) {
    QLAttribTree tree;
    CWrittenWord provider(&tree, id);
    std::string error;
    const auto write = CAttributeWrite::Parse(text, &error);
    EXPECT_TRUE(write.has_value()) << error;
    if (write)
        write->Apply(provider);
    return provider.m_word;
}

TEST(AttributeWrites, ReadsValuesByTheKindOfTheAttribute) {
    EXPECT_EQ(WordOf("QL_ATTR_INVERT=true", 20165), 1u);
    EXPECT_EQ(WordOf("invert=OFF", 20165), 0u);
    EXPECT_EQ(WordOf("20337=65535", 20337), 65535u);
    EXPECT_EQ(WordOf("0x4F71=0x10", 20337), 16u);
    EXPECT_EQ(WordOf("QL_ATTR_THRESHOLD_CELL=-127", 20347), 0xFFFFFF81u) << "signed, in 32 bits";
    EXPECT_EQ(WordOf("QL_ATTR_SATURATION=1.5", 20162), 0x18000u);
    QLAttribTree tree;
    CWrittenWord event(&tree, QL_ATTR_REARM);
    std::string error;
    CAttributeWrite::Parse("QL_ATTR_REARM=fire", &error)->Apply(event);
    EXPECT_TRUE(event.m_fired);
}

TEST(AttributeWrites, CarriesRectanglesAndMatrices) {
    CQLEngine engine;
    engine.Init();
    std::string error;
    CAttributeWrite::Parse("THRESHOLD_RECT=1,-2,30,40", &error)->Apply(engine);
    QLRect rect;
    engine.GetRect(QL_ATTR_THRESHOLD_RECT, &rect);
    EXPECT_EQ(rect.top, 1);
    EXPECT_EQ(rect.left, -2);
    EXPECT_EQ(rect.bottom, 30);
    EXPECT_EQ(rect.right, 40);
    CAttributeWrite::Parse("DEVICE_MATRIX=1,2,3,4,5,6,7,8,9.5", &error)->Apply(engine);
    EXPECT_EQ(WordPointer<const double>(engine.GetValue(QL_ATTR_DEVICE_MATRIX))[8], 9.5);
}

TEST(AttributeWrites, RefusesWithTheNameAndWhatIsAllowed) {
    const struct {
        const char* text;
        const char* error;
    } table[] = {
        {"NONSENSE=1", "there is no attribute 'NONSENSE' (see --list-attributes)"},
        {"20015=1", "there is no attribute '20015' (see --list-attributes)"},
        {"QL_ATTR_INVERT", "'QL_ATTR_INVERT' is not of the form NAME=VALUE"},
        {"QL_ATTR_INVERT=2", "QL_ATTR_INVERT cannot be '2' (allowed: true or false)"},
        {"20337=65536", "QL_ATTR_THRESHOLD cannot be '65536' (allowed: 0 to 65535)"},
        {"THRESHOLD=-1", "QL_ATTR_THRESHOLD cannot be '-1' (allowed: 0 to 65535)"},
        {"SATURATION=1.6", "QL_ATTR_SATURATION cannot be '1.6' (allowed: 0 to 1.5)"},
        {"SATURATION=nan", "QL_ATTR_SATURATION cannot be 'nan' (allowed: 0 to 1.5)"},
        {"THRESHOLD_CELL=2147483648",
         "QL_ATTR_THRESHOLD_CELL cannot be '2147483648' (allowed: -2147483648 to 2147483647)"},
        {"CMD_FEED=1", "QL_ATTR_CMD_FEED cannot be '1' (allowed: fire)"},
        {"INPUT_STREAM=1",
         "nothing in the engine takes QL_ATTR_INPUT_STREAM (see --list-attributes)"},
        {"POST_MATRIX=1,2",
         "QL_ATTR_POST_MATRIX cannot be '1,2' (allowed: 9 numbers, commas between them)"},
        {"THRESHOLD_RECT=1,2,3",
         "QL_ATTR_THRESHOLD_RECT cannot be '1,2,3' (allowed: top,left,bottom,right)"},
        {"THRESHOLD_RECT=1,2,3,4.5",
         "QL_ATTR_THRESHOLD_RECT cannot be '1,2,3,4.5' (allowed: top,left,bottom,right)"},
    };
    for (const auto& row : table) {
        std::string error;
        EXPECT_FALSE(CAttributeWrite::Parse(row.text, &error).has_value()) << row.text;
        EXPECT_EQ(error, row.error);
    }
}

}  // namespace
