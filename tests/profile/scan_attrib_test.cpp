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
#include "tools/profile/check.h"

namespace {

using A = CScanAttrib;

// A record as it leaves the driver, byte for byte, over memory full of dirt.
template <class Record>
void Expect(const A& attrib, std::initializer_list<void (A::*)(Record&) const> getters,
            const std::type_identity_t<Record>& expected,
            const std::source_location where = std::source_location::current()) {
    for (const auto get : getters) {
        Record record;
        std::memset(&record, 0x55, sizeof(record));
        (attrib.*get)(record);
        EXPECT_EQ(std::memcmp(&record, &expected, sizeof(record)), 0) << "line " << where.line();
    }
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

using Values = std::vector<double>;
using enum ScanTable;

// What stands in a table that the profile doesn't give, in the order of the text.
const std::pair<Values, std::vector<ScanTable>> kFallbacks[] = {
    {{1, 0, 0, 0, 1, 0, 0, 0, 1}, {Slide, Flatbed, Adf, Post, FlatbedMaxPix, AdfMaxPix}},
    {{0, 0, 0, 1, 1, 1, 1, 1, 1}, {SlideCoeffs, FlatbedCoeffs2, AdfCoeffs}},
    {{0, 0, 0, 1, 1, 1}, {FlatbedCoeffs, FlatbedCoeffsMaxPix}},
    {{0, 0, 0, 1, 1, 1, 1, 1, 1, 0.065}, {NegCoeffs}},
    {{0.315, -0.1, 0.112, -0.086, 0, 0, -0.078, -0.289, -0.136, -0.245, 0, 0, -0.066, -0.227, 0.043,
      0.005, 0, 0},
     {Neg6x3}},
    {{15, 25, 40, 45, 45, 0, 8, 1}, {SharpSmooth, SharpSmoothMaxPix}},
    {{0, 0, 0.5, 1, 1.5, 2, 2.5, 4, 4, 5, 5, 5, 5, 1, 0, 70, 1}, {SharpSmooth2}},
    {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 100}, {DarkValues2}},
    {{0, 0, 0, 0, 0, 0, 0, 0, 100}, {DarkValues}},
    {{200, 200, 0, 0, 1, 1200, 1000, 0, 0, 235, 235}, {Defaults}},
    {{0.30, 0.59, 0.11, 0, 1, 1}, {Gray}},
    {{0, 0, 0, 0}, {SlideSelection, NegSelection}},
    {{}, {ExclusionAreas, Jpeg24, Jpeg8, Jpeg1}},
};

// Every table's numbers are its fallback, but for those in `own`.
void ExpectFallbacks(const A& attrib, const char* what,
                     const std::map<ScanTable, Values>& own = {}) {
    for (const auto& [numbers, tables] : kFallbacks) {
        for (const ScanTable table : tables) {
            const auto found = own.find(table);
            EXPECT_EQ(TakeNumbers(table, attrib.Record(table)),
                      found != own.end() ? found->second : numbers)
                << what << ", " << FactsOf(table).m_key;
        }
    }
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
    Expect(a,
           {&A::getSlideMatrix, &A::getFlatbedMatrix, &A::getAdfMatrix, &A::getPostMatrix,
            &A::getFlatbedMaxPixMatrix, &A::getAdfMaxPixMatrix},
           {{0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4}});
    Expect(a, {&A::getSlideCoeffs, &A::getSlideCoeffsAlias},
           {1, {}, {0, 0.5, 1}, {1.5, 2, 2.5}, {3, 3.5, 4}, 0});
    Expect(a, {&A::getNegCoeffs}, {1, {}, {0, 0.5, 1}, {1.5, 2, 2.5}, {3, 3.5, 4}, 4.5});
    Expect(a, {&A::getAdfCoeffs}, {1, {}, {101, 102, 103}, {104, 105, 106}, {107, 108, 109}, 0});
    Expect(a, {&A::getFlatbedCoeffsMaxPix}, {1, {}, {1, 2, 3}, {1, 1, 1}, {4, 5, 6}, 0});
    Expect(a, {&A::getNegMatrix},
           {{0, 0.25, 0.5, 0.75, 1, 1.25, 1.5, 1.75, 2, 2.25, 2.5, 2.75, 3, 3.25, 3.5, 3.75, 4,
             4.25}});
    // The seventh value is smooth, the sixth minsmooth.
    Expect(a, {&A::getSharpSmooth}, {1, {}, {1, 2, 3, 4, 5}, 7, 6, 8, {}});
    // Towards zero: -7.9 to -1.9, then -0.9 of which nothing is left.
    Expect(a, {&A::getSharpSmoothMaxPix}, {1, {}, {-7, -6, -5, -4, -3}, -1, -2, 0, {}});
    Expect(a, {&A::getSharpSmooth2},
           {1, 1, 2, {}, {3, 4, 5, 6, 7}, {8, 9, 10, 11, 12}, 13, 14, 15, 16, 17, {}});
    Expect(a, {&A::getDarkValuesLegacy}, {1, {}, {1, 2, 3, 4}, {5, 6, 7, 8}, {}, 13});
    Expect(a, {&A::getDarkValues}, {{1, {}, {1, 2, 3, 4}, {5, 6, 7, 8}, {}, 13}, {9, 10, 11, 12}});
    // Bytes keep the low eight bits of the whole number: of 252 and 253, 257 and 258.
    Expect(a, {&A::getDefaults},
           {1, {}, 250, 251, 252, 253, {}, 254, 255, 256, 1, 2, {}, 259, 260});
    Expect(a, {&A::getGrayTable}, {1, {}, {-2, -1.5, -1}, -0.5, 0, 0.5});
    Expect(a, {&A::getSlideDefaultSelection}, {{4000, 4001, 4002, 4003}});
    Expect(a, {&A::getNegDefaultSelection}, {{1, 2, 3, 4}});
    Expect(a, {&A::getMaxPixFlag}, 1);
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
    ExpectFallbacks(*Load(""), "no text");
    for (std::size_t i = 0; i < kScanTableCount; ++i) {
        const ScanTableFacts& facts = kScanTables[i];
        // A table in which all values are the same but for one in the middle.
        const auto load = [&](double value, double odd, int missing = 0) {
            std::ostringstream text;
            text.precision(12);
            text << facts.m_key << '\n';
            for (int k = 0; k < facts.m_count - missing; ++k)
                text << (k == facts.m_count / 2 ? odd : value) << '\n';
            const auto attrib = Load(text.str());
            const ScanTableOutcome outcome = attrib->Report(static_cast<ScanTable>(i)).m_outcome;
            const bool isUsed = outcome == ScanTableOutcome::Used;
            if (!isUsed)
                ExpectFallbacks(*attrib, facts.m_key);
            Expect(*attrib, {&A::getMaxPixFlag}, isUsed && std::strstr(facts.m_key, "_MAXPIX"));
            return outcome;
        };
        EXPECT_EQ(load(1, 1, 1), ScanTableOutcome::TooFew) << facts.m_key;
        if (facts.m_rowCount != 0)
            continue;  // lists have a test of their own
        EXPECT_EQ(load(facts.m_low, facts.m_high), ScanTableOutcome::Used) << facts.m_key;
        EXPECT_EQ(load(facts.m_high, facts.m_low), ScanTableOutcome::Used) << facts.m_key;
        EXPECT_EQ(load(0, facts.m_high + 1e-6), ScanTableOutcome::OutOfRange) << facts.m_key;
        EXPECT_EQ(load(0, facts.m_low - 1e-6), ScanTableOutcome::OutOfRange) << facts.m_key;
    }
    const auto mixed = Load("SLIDE\n1e999 0 0 0 0 0 0 0 0\n" + Counting("FB", 9, 0, 0.5));
    ExpectFallbacks(*mixed, "mixed", {{Flatbed, {0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4}}});
}

TEST(ScanAttrib, OlderFormStandsInForTheNewer) {
    const std::string older = "FBCOEFFS\n1 2 3 4 5 6\n";
    const auto flatbed = [](const std::string& text, const CoeffRecord& expected) {
        SCOPED_TRACE(text);
        Expect(*Load(text), {&A::getFlatbedCoeffs}, expected);
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

    Expect(*Load(Counting("DARK_VALUES", 9, 1.5)), {&A::getDarkValues},
           {{1, {}, {1, 2, 3, 4}, {5, 6, 7, 8}, {}, 9}, {}});
    const auto both = Load(Counting("DARK_VALUES", 9) + Counting("DARK_VALUES_2", 13));
    EXPECT_EQ(both->Report(DarkValues).m_outcome, ScanTableOutcome::Superseded);
    both->loadDarkValues(CScannerProfile(""), "");
    ExpectFallbacks(*both, "loaded again");
}

TEST(ScanAttrib, ListsHaveAsManyRowsAsTheirCountSays) {
    const auto areas = [](const std::string& text) {
        return Rows(*Load("EXCLUSION_AREAS\n" + text), &A::getExclusionAreas);
    };
    EXPECT_EQ(areas("2\n1 10 20 30 40.9\n16, 0, 0, 5000, 1\n9 9 9 9 9\n"),
              (Numbers{1, 10, 20, 30, 40, 16, 0, 0, 5000, 1}));
    for (const char* none :
         {"0\n1 2 3 4 5\n", "0.9\n1 2 3 4 5\n", "2\n1 10 20 30 40\n", "-1\n1 2 3 4 5\n",
          "1\n1 2 3 4 5001\n", "1\n1 2 3 4 -1\n", "1001\n", "1e300\n", "x\n", "\n"})
        EXPECT_EQ(areas(none), Numbers{}) << none;
    const auto jpeg = Load(
        "JPEG_QFACTOR_24\n1\n300 1 50\nJPEG_QFACTOR_8\n1\n100 1 10001\nJPEG_QFACTOR_1\n1\n1 2 3\n");
    EXPECT_EQ(Rows(*jpeg, &A::getJpegTable24), (Numbers{300, 1, 50}));
    EXPECT_EQ(Rows(*jpeg, &A::getJpegTable8), Numbers{});
    EXPECT_EQ(Rows(*jpeg, &A::getJpegTable1), (Numbers{1, 2, 3}));
}

TEST(ScanAttrib, SensorsHaveKeysOfTheirOwn) {
    const char* const kSensors[] = {"", "Sony", "NEC", "Toshiba", "sony", nullptr};
    const double first[] = {0, 1, 2, 3, 0, 0};
    for (std::size_t i = 0; i < std::size(first); ++i)
        Expect(*Load("GRAY\n0 0 0 0 0 0\nGRAY_SN\n1 0 0 0 0 0\nGRAY_NC\n2 0 0 0 0 0\n"
                     "GRAY_TS\n3 0 0 0 0 0\n",
                     kSensors[i]),
               {&A::getGrayTable}, {1, {}, {first[i], 0, 0}, 0, 0, 0});
}

// ---- The profile that the driver carries

TEST(BuiltInProfile, DiffersFromTheFallbacksOnlyWhereItShould) {
    ExpectFallbacks(BuiltinAttrib(), "built-in",
                    {
                        {NegCoeffs, {0, 0, 0, 1, 1, 1, 1, 1, 1, 0.069}},
                        {Neg6x3, Values(18)},
                        {SharpSmooth, {15, 25, 40, 55, 70, 0, 15, 1}},
                        {SharpSmooth2, {1, 0, 0.5, 1.5, 3, 7, 10, 2, 3, 3, 3, 4, 7, 0.9, 0, 70, 1}},
                        {Defaults, {200, 200, 1, 0, 1, 1200, 980, 0, 1, 240, 180}},
                    });
    EXPECT_TRUE(CheckProfileText(BuiltinProfileText()).empty());
}

}  // namespace
