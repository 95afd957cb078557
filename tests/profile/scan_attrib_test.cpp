#include "profile/scan_attrib.h"

#include <sstream>

#include "platform/com.h"
#include "profile/builtin_profile.h"
#include "tests/profile/profile_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// A record as it leaves the driver, over memory full of dirt.
template <class Record>
Bytes Raw(const CScanAttrib& attrib, void (CScanAttrib::*get)(Record&) const) {
    Record record;
    std::memset(&record, 0x55, sizeof(record));
    (attrib.*get)(record);
    const auto* first = reinterpret_cast<const std::uint8_t*>(&record);
    return {first, first + sizeof(record)};
}

// A record put together by offset. Whatever isn't named is 0.
class CLayout {
  public:
    explicit CLayout(std::size_t size, std::uint8_t valid = 1) : m_bytes(size) {
        m_bytes[0] = valid;
    }
    CLayout& Byte(std::size_t offset, std::uint8_t value) { return Put(offset, value); }
    CLayout& Int(std::size_t offset, std::initializer_list<std::int32_t> values) {
        for (const std::int32_t value : values)
            Put(std::exchange(offset, offset + 4), value);
        return *this;
    }
    CLayout& Real(std::size_t offset, std::initializer_list<double> values) {
        for (const double value : values)
            Put(std::exchange(offset, offset + 8), value);
        return *this;
    }
    operator Bytes() const { return m_bytes; }

  private:
    template <class T>
    CLayout& Put(std::size_t offset, T value) {
        std::memcpy(&m_bytes.at(offset + sizeof(T) - 1) - (sizeof(T) - 1), &value, sizeof(T));
        return *this;
    }
    Bytes m_bytes;
};

CLayout Matrix(std::initializer_list<double> values) {
    return CLayout(values.size() * 8, 0).Real(0, values);
}

CLayout Coeffs(std::initializer_list<double> values) {
    return CLayout(88).Real(8, values);
}

const Bytes kIdentity = Matrix({1, 0, 0, 0, 1, 0, 0, 0, 1});
const Bytes kNeutral = Coeffs({0, 0, 0, 1, 1, 1, 1, 1, 1, 0});

template <class Row>
std::vector<std::uint32_t> Rows(const CScanAttrib& attrib,
                                void (CScanAttrib::*get)(std::uint32_t&, Row*&) const) {
    std::uint32_t count = 99;
    Row* rows = nullptr;
    (attrib.*get)(count, rows);
    EXPECT_EQ(count == 0, rows == nullptr);
    std::vector<std::uint32_t> numbers(count * sizeof(Row) / 4);
    if (rows)
        std::memcpy(numbers.data(), rows, numbers.size() * 4);
    CoTaskMemFree(rows);
    return numbers;
}

std::unique_ptr<CScanAttrib> Load(const std::string& text, const char* sensor = "") {
    return std::make_unique<CScanAttrib>(CScannerProfile(std::string_view(text)), sensor);
}

// "KEY" with count values from `first` on, each a step above the one before it.
std::string Counting(const char* key, int count, double first = 1, double step = 1) {
    std::ostringstream text;
    text << key << '\n';
    for (int i = 0; i < count; ++i)
        text << first + i * step << (i % 4 == 3 ? "\n" : ", ");
    return text.str() + "\n";
}

// Keys, counts and ranges, once more and by hand: a slip in the program's own table shows here.
struct RangeRow {
    ScanTable table;
    const char* key;
    int count;
    double low, high;
};
constexpr RangeRow kRanges[] = {
    {ScanTable::Slide, "SLIDE", 9, -5, 5},
    {ScanTable::Flatbed, "FB", 9, -5, 5},
    {ScanTable::Adf, "ADF", 9, -5, 5},
    {ScanTable::Post, "POST", 9, -5, 5},
    {ScanTable::Neg6x3, "NEG6X3", 18, -5, 5},
    {ScanTable::NegCoeffs, "NEGCOEFFS", 10, -5, 5},
    {ScanTable::SlideCoeffs, "SLIDECOEFFS", 9, -5, 5},
    {ScanTable::FlatbedCoeffs2, "FBCOEFFS_2", 9, 0, 1000},
    {ScanTable::FlatbedCoeffs, "FBCOEFFS", 6, 0, 1000},
    {ScanTable::AdfCoeffs, "ADFCOEFFS", 9, 0, 1000},
    {ScanTable::SharpSmooth, "SHARP_SMOOTH", 8, -100, 100},
    {ScanTable::SharpSmooth2, "SHARP_SMOOTH_2", 17, -100, 150},
    {ScanTable::DarkValues2, "DARK_VALUES_2", 13, 0, 1000},
    {ScanTable::DarkValues, "DARK_VALUES", 9, 0, 1000},
    {ScanTable::Defaults, "DEFAULTS", 11, 0, 2000},
    {ScanTable::Gray, "GRAY", 6, -5, 5},
    {ScanTable::SlideSelection, "SLIDE_DEFAULT_SELECTION", 4, 0, 5000},
    {ScanTable::NegSelection, "NEG_DEFAULT_SELECTION", 4, 0, 5000},
    {ScanTable::FlatbedMaxPix, "FB_MAXPIX", 9, -5, 5},
    {ScanTable::AdfMaxPix, "ADF_MAXPIX", 9, -5, 5},
    {ScanTable::FlatbedCoeffsMaxPix, "FBCOEFFS_MAXPIX", 6, 0, 1000},
    {ScanTable::SharpSmoothMaxPix, "SHARP_SMOOTH_MAXPIX", 8, -100, 100},
};

// Every record, to be compared as a whole.
std::vector<Bytes> AllRecords(const CScanAttrib& a) {
    using A = CScanAttrib;
    std::uint8_t flag = 0x55;
    a.getMaxPixFlag(flag);
    return {Raw(a, &A::getNegCoeffs),
            Raw(a, &A::getSlideCoeffs),
            Raw(a, &A::getSlideCoeffsAlias),
            Raw(a, &A::getSlideMatrix),
            Raw(a, &A::getFlatbedMatrix),
            Raw(a, &A::getAdfMatrix),
            Raw(a, &A::getPostMatrix),
            Raw(a, &A::getNegMatrix),
            Raw(a, &A::getSharpSmooth),
            Raw(a, &A::getSharpSmooth2),
            Raw(a, &A::getDarkValuesLegacy),
            Raw(a, &A::getDarkValues),
            Raw(a, &A::getDefaults),
            Raw(a, &A::getFlatbedCoeffs),
            Raw(a, &A::getAdfCoeffs),
            {flag},
            Raw(a, &A::getFlatbedMaxPixMatrix),
            Raw(a, &A::getAdfMaxPixMatrix),
            Raw(a, &A::getFlatbedCoeffsMaxPix),
            Raw(a, &A::getSharpSmoothMaxPix),
            Raw(a, &A::getGrayTable),
            Raw(a, &A::getSlideDefaultSelection),
            Raw(a, &A::getNegDefaultSelection)};
}

std::vector<Bytes> BuiltInRecords() {
    const CLayout dark = CLayout(64).Real(40, {100});
    Bytes legacy = dark;
    legacy.resize(48);
    const Bytes sharp = CLayout(36).Int(4, {15, 25, 40, 45, 45, 8, 0}).Byte(32, 1);
    return {Coeffs({0, 0, 0, 1, 1, 1, 1, 1, 1, 0.065}),
            kNeutral,
            kNeutral,
            kIdentity,
            kIdentity,
            kIdentity,
            kIdentity,
            Matrix({0.315, -0.1, 0.112, -0.086, 0, 0, -0.078, -0.289, -0.136, -0.245, 0, 0, -0.066,
                    -0.227, 0.043, 0.005, 0, 0}),
            sharp,
            CLayout(128).Real(8, {0.5, 1, 1.5, 2, 2.5, 4, 4, 5, 5, 5, 5, 1, 0, 70}).Byte(120, 1),
            legacy,
            dark,
            CLayout(40).Int(4, {200, 200}).Int(16, {1, 1200, 1000}).Int(32, {235, 235}),
            kNeutral,
            kNeutral,
            {0},
            kIdentity,
            kIdentity,
            kNeutral,
            sharp,
            CLayout(56).Real(8, {0.30, 0.59, 0.11, 0, 1, 1}),
            Bytes(16),
            Bytes(16)};
}

TEST(ScanAttrib, EmptyProfileGivesTheBuiltInValues) {
    const auto attrib = Load("");
    const auto records = AllRecords(*attrib);
    const auto expected = BuiltInRecords();
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(records[i], expected[i]) << "record " << i;
    EXPECT_TRUE(Rows(*attrib, &CScanAttrib::getExclusionAreas).empty());
    EXPECT_TRUE(Rows(*attrib, &CScanAttrib::getJpegTable24).empty());
    EXPECT_TRUE(Rows(*attrib, &CScanAttrib::getJpegTable8).empty());
    EXPECT_TRUE(Rows(*attrib, &CScanAttrib::getJpegTable1).empty());
}

TEST(ScanAttrib, ValuesStandInTheirFields) {
    std::string text;
    for (const char* key : {"SLIDE", "FB", "ADF", "POST", "FB_MAXPIX", "ADF_MAXPIX", "SLIDECOEFFS"})
        text += Counting(key, 9, 0, 0.5);
    text += Counting("NEG6X3", 18, 0, 0.25) + Counting("NEGCOEFFS", 10, 0, 0.5);
    text += Counting("ADFCOEFFS", 9, 101) + Counting("FBCOEFFS_MAXPIX", 6);
    text += Counting("SHARP_SMOOTH", 8, 1.9) + Counting("SHARP_SMOOTH_MAXPIX", 8, -7.9);
    text += Counting("SHARP_SMOOTH_2", 17, 1) + Counting("DEFAULTS", 11, 250.5);
    text += Counting("DARK_VALUES_2", 13, 1.75) + Counting("GRAY", 6, -2, 0.5);
    text += Counting("SLIDE_DEFAULT_SELECTION", 4, 4000.9) + Counting("NEG_DEFAULT_SELECTION", 4);
    const auto attrib = Load(text);
    const auto records = AllRecords(*attrib);
    const Bytes matrix = Matrix({0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4});
    const Bytes slide = Coeffs({0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 0});
    const CLayout dark =
        CLayout(64).Int(4, {1, 2, 3, 4, 5, 6, 7, 8}).Real(40, {13}).Int(48, {9, 10, 11, 12});
    Bytes legacy = dark;
    legacy.resize(48);
    const std::vector<Bytes> expected = {
        Coeffs({0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5}),
        slide,
        slide,
        matrix,
        matrix,
        matrix,
        matrix,
        Matrix({0, 0.25, 0.5, 0.75, 1, 1.25, 1.5, 1.75, 2, 2.25, 2.5, 2.75, 3, 3.25, 3.5, 3.75, 4,
                4.25}),
        // The seventh value is smooth, the sixth minsmooth.
        CLayout(36).Int(4, {1, 2, 3, 4, 5, 7, 6}).Byte(32, 8),
        CLayout(128)
            .Byte(1, 1)
            .Byte(2, 2)
            .Real(8, {3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16})
            .Byte(120, 17),
        legacy,
        dark,
        // Bytes keep the low eight bits of the whole number: 252 and 253, 257 and 258.
        CLayout(40)
            .Int(4, {250, 251})
            .Byte(12, 252)
            .Byte(13, 253)
            .Int(16, {254, 255, 256})
            .Byte(28, 1)
            .Byte(29, 2)
            .Int(32, {259, 260}),
        kNeutral,
        Coeffs({101, 102, 103, 104, 105, 106, 107, 108, 109, 0}),
        {1},
        matrix,
        matrix,
        Coeffs({1, 2, 3, 1, 1, 1, 4, 5, 6, 0}),
        // Towards zero: -7.9 to -1.9, then -0.9 of which nothing is left.
        CLayout(36).Int(4, {-7, -6, -5, -4, -3, -1, -2}).Byte(32, 0),
        CLayout(56).Real(8, {-2, -1.5, -1, -0.5, 0, 0.5}),
        CLayout(16, 0).Int(0, {4000, 4001, 4002, 4003}),
        CLayout(16, 0).Int(0, {1, 2, 3, 4}),
    };
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(records[i], expected[i]) << "record " << i;
}

TEST(ScanAttrib, OneValueBeyondItsRangeTakesTheWholeTableBack) {
    for (const RangeRow& row : kRanges) {
        EXPECT_STREQ(FactsOf(row.table).m_key, row.key);
        const auto outcome = [&row](double value, double odd, int index) {
            std::ostringstream text;
            text.precision(12);
            text << row.key << '\n';
            for (int i = 0; i < row.count; ++i)
                text << (i == index ? odd : value) << '\n';
            const auto attrib = Load(text.str());
            const ScanTableReport& report = attrib->Report(row.table);
            // A table out of range leaves everything as if there were no profile.
            if (report.m_outcome != ScanTableOutcome::Used) {
                EXPECT_EQ(AllRecords(*attrib), BuiltInRecords()) << row.key;
                EXPECT_EQ(report.m_index, index) << row.key;
                EXPECT_EQ(report.m_value, odd) << row.key;
                EXPECT_EQ(report.m_line, static_cast<std::uint32_t>(index + 2)) << row.key;
            }
            return report.m_outcome;
        };
        for (const int index : {0, row.count / 2, row.count - 1}) {
            EXPECT_EQ(outcome(row.low, row.high, index), ScanTableOutcome::Used) << row.key;
            EXPECT_EQ(outcome(row.high, row.low, index), ScanTableOutcome::Used) << row.key;
            EXPECT_EQ(outcome(row.low, row.high + 1e-6, index), ScanTableOutcome::OutOfRange)
                << row.key;
            EXPECT_EQ(outcome(row.high, row.low - 1e-6, index), ScanTableOutcome::OutOfRange)
                << row.key;
        }
        const auto shorter = Load(Counting(row.key, row.count - 1, 1, 0.001));
        EXPECT_EQ(shorter->Report(row.table).m_outcome, ScanTableOutcome::TooFew) << row.key;
        EXPECT_EQ(AllRecords(*shorter), BuiltInRecords()) << row.key;
    }
    EXPECT_EQ(Load("ADF\n1e999 0 0 0 0 0 0 0 0\n")->Report(ScanTable::Adf).m_outcome,
              ScanTableOutcome::OutOfRange);
}

TEST(ScanAttrib, AFaultyTableLeavesItsNeighboursAlone) {
    const auto attrib = Load("SLIDE\n9 9 9 9 9 9 9 9 9\n" + Counting("FB", 9, 0, 0.5));
    EXPECT_EQ(Raw(*attrib, &CScanAttrib::getSlideMatrix), kIdentity);
    EXPECT_EQ(Raw(*attrib, &CScanAttrib::getFlatbedMatrix),
              Bytes(Matrix({0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4})));
}

TEST(ScanAttrib, OlderFormStandsInForTheNewer) {
    const auto flatbed = [](const std::string& text) {
        return Raw(*Load(text), &CScanAttrib::getFlatbedCoeffs);
    };
    const std::string older = "FBCOEFFS\n1 2 3 4 5 6\n";
    EXPECT_EQ(flatbed(older), Bytes(Coeffs({1, 2, 3, 1, 1, 1, 4, 5, 6, 0})));
    EXPECT_EQ(flatbed(older + Counting("FBCOEFFS_2", 9, 11)),
              Bytes(Coeffs({11, 12, 13, 14, 15, 16, 17, 18, 19, 0})));
    // The newer one's values lie over the older's when that is tested.
    EXPECT_EQ(flatbed("FBCOEFFS_2\n11 12 13 14 15 16 17 18 1001\n" + older),
              Bytes(Coeffs({11, 12, 13, 1, 1, 1, 14, 15, 16, 0})));
    EXPECT_EQ(flatbed("FBCOEFFS_2\n1001 12 13 14 15 16 17 18 19\n" + older), kNeutral);
    EXPECT_EQ(flatbed(older + "FBCOEFFS_2\n11 12 13 14\n"),
              Bytes(Coeffs({11, 12, 13, 1, 1, 1, 14, 5, 6, 0})));
    EXPECT_EQ(flatbed("FBCOEFFS_2\n1 2 3 4 5 6 7 8\n"), kNeutral) << "no older form to test";
    const auto blamed = Load(older + "FBCOEFFS_2\n\n11 2000 13 14 15 16 17 18 19\n");
    EXPECT_EQ(blamed->Report(ScanTable::FlatbedCoeffs).m_line, 5u);

    const auto dark = [](const std::string& text) {
        return Raw(*Load(text), &CScanAttrib::getDarkValues);
    };
    const Bytes olderDark = CLayout(64).Int(4, {1, 2, 3, 4, 5, 6, 7, 8}).Real(40, {9});
    EXPECT_EQ(dark(Counting("DARK_VALUES", 9, 1.5)), olderDark);
    EXPECT_EQ(
        dark("DARK_VALUES_2\n1 2 3 4 5 6 7 8 9 10 11 12 -1\nDARK_VALUES\n0 0 0 0 0 0 0 0 0\n"),
        olderDark);
    EXPECT_EQ(Load(Counting("DARK_VALUES", 9) + Counting("DARK_VALUES_2", 13))
                  ->Report(ScanTable::DarkValues)
                  .m_outcome,
              ScanTableOutcome::Superseded);
}

TEST(ScanAttrib, FlagTellsOfAnyTableOfTheHighestResolution) {
    const auto flag = [](const std::string& text) {
        std::uint8_t value = 0x55;
        Load(text)->getMaxPixFlag(value);
        return int{value};
    };
    for (const auto& [key, count] : {std::pair{"FB_MAXPIX", 9},
                                     {"ADF_MAXPIX", 9},
                                     {"FBCOEFFS_MAXPIX", 6},
                                     {"SHARP_SMOOTH_MAXPIX", 8}}) {
        EXPECT_EQ(flag(Counting(key, count, 1, 0.1)), 1) << key;
        EXPECT_EQ(flag(Counting(key, count - 1, 1, 0.1)), 0) << key;
        EXPECT_EQ(flag(Counting(key, count, 2000, 0.1)), 0) << key;
    }
}

TEST(ScanAttrib, ListsHaveAsManyRowsAsTheirCountSays) {
    const auto areas = [](const std::string& text) {
        return Rows(*Load("EXCLUSION_AREAS\n" + text), &CScanAttrib::getExclusionAreas);
    };
    using Numbers = std::vector<std::uint32_t>;
    EXPECT_EQ(areas("2\n1 10 20 30 40.9\n16, 0, 0, 5000, 1\n9 9 9 9 9\n"),
              (Numbers{1, 10, 20, 30, 40, 16, 0, 0, 5000, 1}));
    EXPECT_EQ(areas("1.9 1 2 3 4 5\n"), (Numbers{1, 2, 3, 4, 5}));
    for (const char* none :
         {"0\n1 2 3 4 5\n", "0.9\n1 2 3 4 5\n", "2\n1 10 20 30 40\n", "-1\n1 2 3 4 5\n",
          "1\n1 2 3 4 5001\n", "1\n1 2 3 4 -1\n", "1001\n", "1e300\n", "x\n", "\n"})
        EXPECT_EQ(areas(none), Numbers{}) << none;
    std::string longest = std::to_string(999) + "\n";
    for (int i = 0; i < 999; ++i)
        longest += "1 2 3 4 5\n";
    EXPECT_TRUE(areas(longest).empty()) << "no text is long enough for so many";
    std::string most = "991\n";
    for (int i = 0; i < 991; ++i)
        most += "1 2 3 4 5\n";
    EXPECT_EQ(areas(most).size(), 991u * 5);

    const auto jpeg = Load(
        "JPEG_QFACTOR_24\n2\n300 1 50\n10000 0 90\nJPEG_QFACTOR_8\n1\n100 1 10001\n"
        "JPEG_QFACTOR_1\n1000\n1 2 3\n");
    EXPECT_EQ(Rows(*jpeg, &CScanAttrib::getJpegTable24), (Numbers{300, 1, 50, 10000, 0, 90}));
    EXPECT_EQ(Rows(*jpeg, &CScanAttrib::getJpegTable8), Numbers{});
    EXPECT_EQ(Rows(*jpeg, &CScanAttrib::getJpegTable1), Numbers{});
}

TEST(ScanAttrib, TablesLoadedAgainKeepNothing) {
    const auto again = Load("EXCLUSION_AREAS\n1\n1 2 3 4 5\n");
    again->loadDarkValues(CScannerProfile(Counting("DARK_VALUES_2", 13)), "");
    again->loadDarkValues(CScannerProfile(""), "");
    EXPECT_EQ(Raw(*again, &CScanAttrib::getDarkValues), BuiltInRecords()[11]);
    again->loadExclusionAreas(CScannerProfile("EXCLUSION_AREAS\n2\n"), "");
    EXPECT_EQ(Rows(*again, &CScanAttrib::getExclusionAreas), std::vector<std::uint32_t>{});
}

TEST(ScanAttrib, SensorsHaveKeysOfTheirOwn) {
    const std::string text = Counting("FB", 9, 0, 0.5) + Counting("FB_SN", 9, 1, 0.1) +
                             Counting("FB_NC", 9, 2, 0.1) + Counting("FB_TS", 9, 3, 0.1);
    const auto first = [&text](const char* sensor) {
        ScanMatrix matrix;
        Load(text, sensor)->getFlatbedMatrix(matrix);
        return matrix.m_values[0];
    };
    EXPECT_EQ(first(""), 0);
    EXPECT_EQ(first("Sony"), 1);
    EXPECT_EQ(first("NEC"), 2);
    EXPECT_EQ(first("Toshiba"), 3);
    EXPECT_EQ(first("sony"), 0);
    EXPECT_EQ(first("Other"), 0);
    EXPECT_EQ(first(nullptr), 0);
}

// ---- The profile that the driver carries

std::string BuiltInText() {
    const auto* bytes = reinterpret_cast<const char*>(kBuiltinProfile);
    const ReadBack back = ReadContainer({bytes, kBuiltinProfileBytes});
    EXPECT_EQ(back.status, ProfileStatus::Whole);
    return back.text;
}

TEST(BuiltInProfile, HasItsKeysInTheirOrder) {
    std::istringstream text(BuiltInText());
    std::vector<std::string> keys;
    for (std::string line; std::getline(text, line);) {
        const std::string word = line.substr(0, line.find(' '));
        if (!word.empty() && std::isupper(static_cast<unsigned char>(word[0])))
            keys.push_back(word);
    }
    const std::vector<std::string> expected = {"FB",
                                               "FBCOEFFS_2",
                                               "GRAY",
                                               "SLIDE",
                                               "SLIDECOEFFS",
                                               "POST",
                                               "NEG6X3",
                                               "NEGCOEFFS",
                                               "SHARP_SMOOTH",
                                               "SLIDE_SHARP_SMOOTH",
                                               "NEG_SHARP_SMOOTH",
                                               "SHARP_SMOOTH_2",
                                               "SLIDE_SHARP_SMOOTH_2",
                                               "NEG_SHARP_SMOOTH_2",
                                               "DARK_VALUES_2",
                                               "DEFAULTS",
                                               "EXCLUSION_AREAS",
                                               "FB_DUSTNSCRATCH",
                                               "SLIDE_DUSTNSCRATCH",
                                               "NEG_DUSTNSCRATCH"};
    EXPECT_EQ(keys, expected);
}

TEST(BuiltInProfile, DiffersFromTheFallbacksOnlyWhereItShould) {
    const auto attrib = Load(BuiltInText());
    for (const ScanTable table :
         {ScanTable::Flatbed, ScanTable::FlatbedCoeffs2, ScanTable::Gray, ScanTable::Slide,
          ScanTable::SlideCoeffs, ScanTable::Post, ScanTable::Neg6x3, ScanTable::NegCoeffs,
          ScanTable::SharpSmooth, ScanTable::SharpSmooth2, ScanTable::DarkValues2,
          ScanTable::Defaults, ScanTable::ExclusionAreas})
        EXPECT_EQ(attrib->Report(table).m_outcome, ScanTableOutcome::Used) << FactsOf(table).m_key;
    std::vector<Bytes> expected = BuiltInRecords();
    expected[0] = Coeffs({0, 0, 0, 1, 1, 1, 1, 1, 1, 0.069});
    expected[7] = Bytes(144);
    expected[8] = CLayout(36).Int(4, {15, 25, 40, 55, 70, 15, 0}).Byte(32, 1);
    expected[9] = CLayout(128)
                      .Byte(1, 1)
                      .Real(8, {0.5, 1.5, 3, 7, 10, 2, 3, 3, 3, 4, 7, 0.9, 0, 70})
                      .Byte(120, 1);
    expected[12] = CLayout(40)
                       .Int(4, {200, 200})
                       .Byte(12, 1)
                       .Int(16, {1, 1200, 980})
                       .Byte(29, 1)
                       .Int(32, {240, 180});
    const auto records = AllRecords(*attrib);
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(records[i], expected[i]) << "record " << i;
    EXPECT_TRUE(Rows(*attrib, &CScanAttrib::getExclusionAreas).empty());
    double version = 0;
    EXPECT_FALSE(CScannerProfile(BuiltInText()).getTable("VERSION", "", &version, 1));
}

}  // namespace
