#include "profile/scan_attrib.h"

#include <fstream>
#include <map>
#include <regex>
#include <source_location>
#include <sstream>

#include "platform/com.h"
#include "profile/attrib_layout.h"
#include "profile/builtin_profile.h"
#include "tests/profile/profile_rig.h"
#include "tools/profile_check.h"

namespace {

using A = CScanAttrib;

// A record as it leaves the driver, byte for byte, over memory full of dirt.
template <class Record>
void Expect(const A& attrib, void (A::*get)(Record&) const,
            const std::type_identity_t<Record>& expected,
            const std::source_location where = std::source_location::current()) {
    Record record;
    std::memset(&record, 0x55, sizeof(record));
    (attrib.*get)(record);
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof(record)), 0) << "line " << where.line();
}

template <class Record>
void ExpectAll(const A& attrib, std::initializer_list<void (A::*)(Record&) const> getters,
               const std::type_identity_t<Record>& expected,
               const std::source_location where = std::source_location::current()) {
    for (const auto get : getters)
        Expect(attrib, get, expected, where);
}

using Numbers = std::vector<std::uint32_t>;

template <class Row>
Numbers Rows(const A& attrib, void (A::*get)(std::uint32_t&, Row*&) const) {
    std::uint32_t count = 99;
    Row* rows = nullptr;
    (attrib.*get)(count, rows);
    EXPECT_EQ(count == 0, rows == nullptr);
    Numbers numbers(count * sizeof(Row) / 4);
    if (rows)
        std::memcpy(numbers.data(), rows, numbers.size() * 4);
    CoTaskMemFree(rows);
    return numbers;
}

// "KEY" with count values from `first` on, each a step above the one before it.
std::string Counting(const char* key, int count, double first = 1, double step = 1) {
    std::ostringstream text;
    text << key << '\n';
    for (int i = 0; i < count; ++i)
        text << first + i * step << (i % 4 == 3 ? "\n" : ", ");
    return text.str() + "\n";
}

// All records of a profile without any text.
void ExpectFallbacks(const A& attrib, const char* what) {
    static const auto empty = Load("");
    for (std::size_t i = 0; i < kScanTableCount; ++i) {
        const auto table = static_cast<ScanTable>(i);
        EXPECT_EQ(TakeNumbers(table, attrib.Record(table)),
                  TakeNumbers(table, empty->Record(table)))
            << what << ", " << kScanTables[i].m_key;
    }
}

TEST(ScanAttrib, EmptyProfileGivesTheBuiltInValues) {
    const auto attrib = Load("");
    const A& a = *attrib;
    ExpectAll(a,
              {&A::getSlideMatrix, &A::getFlatbedMatrix, &A::getAdfMatrix, &A::getPostMatrix,
               &A::getFlatbedMaxPixMatrix, &A::getAdfMaxPixMatrix},
              {{1, 0, 0, 0, 1, 0, 0, 0, 1}});
    ExpectAll(a,
              {&A::getSlideCoeffs, &A::getSlideCoeffsAlias, &A::getFlatbedCoeffs, &A::getAdfCoeffs,
               &A::getFlatbedCoeffsMaxPix},
              {1, {}, {}, {1, 1, 1}, {1, 1, 1}, 0});
    Expect(a, &A::getNegCoeffs, {1, {}, {}, {1, 1, 1}, {1, 1, 1}, 0.065});
    Expect(a, &A::getNegMatrix,
           {{0.315, -0.1, 0.112, -0.086, 0, 0, -0.078, -0.289, -0.136, -0.245, 0, 0, -0.066, -0.227,
             0.043, 0.005, 0, 0}});
    ExpectAll(a, {&A::getSharpSmooth, &A::getSharpSmoothMaxPix},
              {1, {}, {15, 25, 40, 45, 45}, 8, 0, 1, {}});
    Expect(a, &A::getSharpSmooth2,
           {1, 0, 0, {}, {0.5, 1, 1.5, 2, 2.5}, {4, 4, 5, 5, 5}, 5, 1, 0, 70, 1, {}});
    Expect(a, &A::getDarkValuesLegacy, {1, {}, {}, {}, {}, 100});
    Expect(a, &A::getDarkValues, {{1, {}, {}, {}, {}, 100}, {}});
    Expect(a, &A::getDefaults, {1, {}, 200, 200, 0, 0, {}, 1, 1200, 1000, 0, 0, {}, 235, 235});
    Expect(a, &A::getGrayTable, {1, {}, {0.30, 0.59, 0.11}, 0, 1, 1});
    ExpectAll(a, {&A::getSlideDefaultSelection, &A::getNegDefaultSelection}, {{}});
    Expect(a, &A::getMaxPixFlag, 0);
    EXPECT_TRUE(Rows(a, &A::getExclusionAreas).empty());
    EXPECT_TRUE(Rows(a, &A::getJpegTable24).empty());
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
    const A& a = *attrib;
    ExpectAll(a,
              {&A::getSlideMatrix, &A::getFlatbedMatrix, &A::getAdfMatrix, &A::getPostMatrix,
               &A::getFlatbedMaxPixMatrix, &A::getAdfMaxPixMatrix},
              {{0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4}});
    ExpectAll(a, {&A::getSlideCoeffs, &A::getSlideCoeffsAlias},
              {1, {}, {0, 0.5, 1}, {1.5, 2, 2.5}, {3, 3.5, 4}, 0});
    Expect(a, &A::getNegCoeffs, {1, {}, {0, 0.5, 1}, {1.5, 2, 2.5}, {3, 3.5, 4}, 4.5});
    Expect(a, &A::getAdfCoeffs, {1, {}, {101, 102, 103}, {104, 105, 106}, {107, 108, 109}, 0});
    Expect(a, &A::getFlatbedCoeffsMaxPix, {1, {}, {1, 2, 3}, {1, 1, 1}, {4, 5, 6}, 0});
    Expect(a, &A::getNegMatrix,
           {{0, 0.25, 0.5, 0.75, 1, 1.25, 1.5, 1.75, 2, 2.25, 2.5, 2.75, 3, 3.25, 3.5, 3.75, 4,
             4.25}});
    // The seventh value is smooth, the sixth minsmooth.
    Expect(a, &A::getSharpSmooth, {1, {}, {1, 2, 3, 4, 5}, 7, 6, 8, {}});
    // Towards zero: -7.9 to -1.9, then -0.9 of which nothing is left.
    Expect(a, &A::getSharpSmoothMaxPix, {1, {}, {-7, -6, -5, -4, -3}, -1, -2, 0, {}});
    Expect(a, &A::getSharpSmooth2,
           {1, 1, 2, {}, {3, 4, 5, 6, 7}, {8, 9, 10, 11, 12}, 13, 14, 15, 16, 17, {}});
    Expect(a, &A::getDarkValuesLegacy, {1, {}, {1, 2, 3, 4}, {5, 6, 7, 8}, {}, 13});
    Expect(a, &A::getDarkValues, {{1, {}, {1, 2, 3, 4}, {5, 6, 7, 8}, {}, 13}, {9, 10, 11, 12}});
    // Bytes keep the low eight bits of the whole number: of 252 and 253, 257 and 258.
    Expect(a, &A::getDefaults, {1, {}, 250, 251, 252, 253, {}, 254, 255, 256, 1, 2, {}, 259, 260});
    Expect(a, &A::getGrayTable, {1, {}, {-2, -1.5, -1}, -0.5, 0, 0.5});
    Expect(a, &A::getSlideDefaultSelection, {{4000, 4001, 4002, 4003}});
    Expect(a, &A::getNegDefaultSelection, {{1, 2, 3, 4}});
    Expect(a, &A::getMaxPixFlag, 1);
}

// What is written for people who make profiles.
TEST(ScanAttrib, KeysCountsAndRangesAreTheDocumentedOnes) {
    std::ifstream document(NVQ_SOURCE_DIR "/docs/write-a-profile.md");
    const std::regex row(R"(\| `([A-Z0-9_]+)` \| (\d+)(?:, then (\d+) a row)? \| (-?\d+ to \d+))"
                         R"((?:, then (0 to \d+))? \|.*)");
    std::size_t i = 0;
    for (std::string line; std::getline(document, line);) {
        std::smatch parts;
        if (!std::regex_match(line, parts, row))
            continue;
        ASSERT_LT(i, kScanTableCount);
        const ScanTableFacts& facts = kScanTables[i++];
        const bool isList = facts.m_rowCount != 0;
        EXPECT_EQ(parts[1], facts.m_key);
        EXPECT_EQ(parts[2], std::to_string(facts.m_count)) << line;
        EXPECT_EQ(parts[3], isList ? std::to_string(facts.m_rowCount) : "") << line;
        EXPECT_EQ(parts[4], ShortNumber(facts.m_low) + " to " + ShortNumber(facts.m_high)) << line;
        EXPECT_EQ(parts[5], isList ? "0 to " + ShortNumber(facts.m_rowHigh) : "") << line;
    }
    EXPECT_EQ(i, kScanTableCount);
}

TEST(ScanAttrib, OneValueBeyondItsRangeTakesTheWholeTableBack) {
    for (std::size_t i = 0; i < kScanTableCount; ++i) {
        const ScanTableFacts& facts = kScanTables[i];
        const int count = facts.m_count;
        const auto load = [&](double value, double odd, int index, int values) {
            std::ostringstream text;
            text.precision(12);
            text << facts.m_key << '\n';
            for (int k = 0; k < values; ++k)
                text << (k == index ? odd : value) << '\n';
            const auto attrib = Load(text.str());
            const ScanTableReport report = attrib->Report(static_cast<ScanTable>(i));
            if (report.m_outcome != ScanTableOutcome::Used)
                ExpectFallbacks(*attrib, facts.m_key);
            return report;
        };
        for (const int index : {0, count - 1}) {
            if (facts.m_rowCount != 0)
                break;  // lists have a test of their own
            for (const auto& [value, odd] :
                 {std::pair{facts.m_low, facts.m_high}, {facts.m_high, facts.m_low}}) {
                EXPECT_EQ(load(value, odd, index, count).m_outcome, ScanTableOutcome::Used);
                const double beyond = odd + (odd > value ? 1e-6 : -1e-6);
                const ScanTableReport report = load(value, beyond, index, count);
                EXPECT_EQ(report.m_outcome, ScanTableOutcome::OutOfRange) << facts.m_key;
                EXPECT_EQ(report.m_value, beyond) << facts.m_key;
                EXPECT_EQ(report.m_line, static_cast<std::uint32_t>(index + 2)) << facts.m_key;
            }
        }
        EXPECT_EQ(load(1, 1, 0, count - 1).m_outcome, ScanTableOutcome::TooFew) << facts.m_key;
    }
    const auto mixed = Load("SLIDE\n1e999 0 0 0 0 0 0 0 0\n" + Counting("FB", 9, 0, 0.5));
    Expect(*mixed, &A::getSlideMatrix, {{1, 0, 0, 0, 1, 0, 0, 0, 1}});
    Expect(*mixed, &A::getFlatbedMatrix, {{0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4}});
}

TEST(ScanAttrib, OlderFormStandsInForTheNewer) {
    const std::string older = "FBCOEFFS\n1 2 3 4 5 6\n";
    const auto flatbed = [](const std::string& text, const CoeffRecord& expected) {
        SCOPED_TRACE(text);
        Expect(*Load(text), &A::getFlatbedCoeffs, expected);
    };
    const CoeffRecord neutral = {1, {}, {}, {1, 1, 1}, {1, 1, 1}, 0};
    flatbed(older, {1, {}, {1, 2, 3}, {1, 1, 1}, {4, 5, 6}, 0});
    flatbed(older + Counting("FBCOEFFS_2", 9, 11),
            {1, {}, {11, 12, 13}, {14, 15, 16}, {17, 18, 19}, 0});
    // The newer one's values lie over the older's when that is tested.
    flatbed("FBCOEFFS_2\n11 12 13 14 15 16 17 18 1001\n" + older,
            {1, {}, {11, 12, 13}, {1, 1, 1}, {14, 15, 16}, 0});
    flatbed("FBCOEFFS_2\n1001 12 13 14 15 16 17 18 19\n" + older, neutral);
    flatbed(older + "FBCOEFFS_2\n11 12 13 14\n", {1, {}, {11, 12, 13}, {1, 1, 1}, {14, 5, 6}, 0});
    flatbed("FBCOEFFS_2\n1 2 3 4 5 6 7 8\n", neutral);
    const auto blamed = Load(older + "FBCOEFFS_2\n\n11 2000 13 14 15 16 17 18 19\n");
    EXPECT_EQ(blamed->Report(ScanTable::FlatbedCoeffs).m_line, 5u);

    const DarkValuesRecord dark = {{1, {}, {1, 2, 3, 4}, {5, 6, 7, 8}, {}, 9}, {}};
    Expect(*Load(Counting("DARK_VALUES", 9, 1.5)), &A::getDarkValues, dark);
    Expect(*Load("DARK_VALUES_2\n1 2 3 4 5 6 7 8 9 10 11 12 -1\n" + Counting("DARK_VALUES", 9)),
           &A::getDarkValues, dark);
    const auto both = Load(Counting("DARK_VALUES", 9) + Counting("DARK_VALUES_2", 13));
    EXPECT_EQ(both->Report(ScanTable::DarkValues).m_outcome, ScanTableOutcome::Superseded);
    both->loadDarkValues(CScannerProfile(""), "");
    ExpectFallbacks(*both, "loaded again");
}

TEST(ScanAttrib, FlagTellsOfAnyTableOfTheHighestResolution) {
    for (const auto& [key, count] : {std::pair{"FB_MAXPIX", 9},
                                     {"ADF_MAXPIX", 9},
                                     {"FBCOEFFS_MAXPIX", 6},
                                     {"SHARP_SMOOTH_MAXPIX", 8}}) {
        Expect(*Load(Counting(key, count, 1, 0.1)), &A::getMaxPixFlag, 1);
        Expect(*Load(Counting(key, count, 2000)), &A::getMaxPixFlag, 0);
    }
}

TEST(ScanAttrib, ListsHaveAsManyRowsAsTheirCountSays) {
    const auto areas = [](const std::string& text) {
        return Rows(*Load("EXCLUSION_AREAS\n" + text), &A::getExclusionAreas);
    };
    EXPECT_EQ(areas("2\n1 10 20 30 40.9\n16, 0, 0, 5000, 1\n9 9 9 9 9\n"),
              (Numbers{1, 10, 20, 30, 40, 16, 0, 0, 5000, 1}));
    EXPECT_EQ(areas("1.9 1 2 3 4 5\n"), (Numbers{1, 2, 3, 4, 5}));
    for (const char* none :
         {"0\n1 2 3 4 5\n", "0.9\n1 2 3 4 5\n", "2\n1 10 20 30 40\n", "-1\n1 2 3 4 5\n",
          "1\n1 2 3 4 5001\n", "1\n1 2 3 4 -1\n", "1001\n", "1e300\n", "x\n", "\n"})
        EXPECT_EQ(areas(none), Numbers{}) << none;
    std::string most = "991\n";  // a text has no room for more
    for (int i = 0; i < 991; ++i)
        most += "1 2 3 4 5\n";
    EXPECT_EQ(areas(most).size(), 991u * 5);

    const auto jpeg = Load(
        "JPEG_QFACTOR_24\n2\n300 1 50\n10000 0 90\nJPEG_QFACTOR_8\n1\n100 1 10001\n"
        "JPEG_QFACTOR_1\n1\n1 2 3\n");
    EXPECT_EQ(Rows(*jpeg, &A::getJpegTable24), (Numbers{300, 1, 50, 10000, 0, 90}));
    EXPECT_EQ(Rows(*jpeg, &A::getJpegTable8), Numbers{});
    EXPECT_EQ(Rows(*jpeg, &A::getJpegTable1), (Numbers{1, 2, 3}));
    jpeg->loadJpegTables(CScannerProfile("JPEG_QFACTOR_24\n2\n"), "");
    EXPECT_EQ(Rows(*jpeg, &A::getJpegTable24), Numbers{});
}

TEST(ScanAttrib, SensorsHaveKeysOfTheirOwn) {
    const std::string text =
        "GRAY\n0 0 0 0 0 0\nGRAY_SN\n1 0 0 0 0 0\nGRAY_NC\n2 0 0 0 0 0\n"
        "GRAY_TS\n3 0 0 0 0 0\n";
    for (const auto& [sensor, first] : {std::pair{"", 0.0},
                                        {"Sony", 1.0},
                                        {"NEC", 2.0},
                                        {"Toshiba", 3.0},
                                        {"sony", 0.0},
                                        {static_cast<const char*>(nullptr), 0.0}})
        Expect(*Load(text, sensor), &A::getGrayTable, {1, {}, {first, 0, 0}, 0, 0, 0});
}

// ---- The profile that the driver carries

TEST(BuiltInProfile, HasItsKeysInTheirOrder) {
    std::istringstream text(BuiltinProfileText());
    std::string keys;
    for (std::string line; std::getline(text, line);) {
        if (!line.empty() && std::isupper(static_cast<unsigned char>(line[0])))
            keys += line.substr(0, line.find(' ')) + ' ';
    }
    EXPECT_EQ(keys,
              "FB FBCOEFFS_2 GRAY SLIDE SLIDECOEFFS POST NEG6X3 NEGCOEFFS SHARP_SMOOTH "
              "SLIDE_SHARP_SMOOTH NEG_SHARP_SMOOTH SHARP_SMOOTH_2 SLIDE_SHARP_SMOOTH_2 "
              "NEG_SHARP_SMOOTH_2 DARK_VALUES_2 DEFAULTS EXCLUSION_AREAS FB_DUSTNSCRATCH "
              "SLIDE_DUSTNSCRATCH NEG_DUSTNSCRATCH ");
}

TEST(BuiltInProfile, DiffersFromTheFallbacksOnlyWhereItShould) {
    const std::map<ScanTable, std::vector<double>> own = {
        {ScanTable::NegCoeffs, {0, 0, 0, 1, 1, 1, 1, 1, 1, 0.069}},
        {ScanTable::Neg6x3, std::vector<double>(18)},
        {ScanTable::SharpSmooth, {15, 25, 40, 55, 70, 0, 15, 1}},
        {ScanTable::SharpSmooth2, {1, 0, 0.5, 1.5, 3, 7, 10, 2, 3, 3, 3, 4, 7, 0.9, 0, 70, 1}},
        {ScanTable::Defaults, {200, 200, 1, 0, 1, 1200, 980, 0, 1, 240, 180}},
    };
    const auto empty = Load("");
    for (std::size_t i = 0; i < kScanTableCount; ++i) {
        const auto table = static_cast<ScanTable>(i);
        const auto found = own.find(table);
        EXPECT_EQ(TakeNumbers(table, BuiltinAttrib().Record(table)),
                  found != own.end() ? found->second : TakeNumbers(table, empty->Record(table)))
            << kScanTables[i].m_key;
        const ScanTableOutcome outcome = BuiltinAttrib().Report(table).m_outcome;
        EXPECT_TRUE(outcome == ScanTableOutcome::Used || outcome == ScanTableOutcome::Missing);
    }
    EXPECT_EQ(CScannerProfile(BuiltinProfileText()).getTable("VERSION", "", nullptr, 0), false);
}

}  // namespace
