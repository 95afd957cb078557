#include "profile/scan_attrib.h"

#include <set>
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

using enum ScanTable;

// Every table's numbers are those that it has without a profile, but for some.
void ExpectFallbacks(const A& attrib, const std::set<ScanTable>& others = {}) {
    const auto none = Load("");
    for (std::size_t i = 0; i < kScanTableCount; ++i) {
        const auto table = static_cast<ScanTable>(i);
        EXPECT_EQ(
            TakeNumbers(table, attrib.Record(table)) == TakeNumbers(table, none->Record(table)),
            !others.contains(table))
            << FactsOf(table).m_key;
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
    const std::string document = ReadWholeFile(NVQ_SOURCE_DIR "/docs/write-a-profile.md");
    for (const ScanTableFacts& facts : kScanTables) {
        const bool isList = facts.m_rowCount != 0;
        std::ostringstream row;
        row << "| `" << facts.m_key << "` | " << facts.m_count;
        if (isList)
            row << ", then " << facts.m_rowCount << " a row";
        row << " | " << ShortNumber(facts.m_low) << " to " << ShortNumber(facts.m_high);
        if (isList)
            row << ", then 0 to " << ShortNumber(facts.m_rowHigh);
        EXPECT_NE(document.find(row.str() + " |"), std::string::npos) << row.str();
    }
}

TEST(ScanAttrib, OneValueBeyondItsRangeTakesTheWholeTableBack) {
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
                ExpectFallbacks(*attrib);
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
    ExpectFallbacks(*mixed, {Flatbed});
}

TEST(ScanAttrib, OlderFormStandsInForTheNewer) {
    const std::string older = "FBCOEFFS\n1 2 3 4 5 6\n";
    const auto flatbed = [](const std::string& text, const CoeffRecord& expected) {
        SCOPED_TRACE(text);
        Expect(*Load(text), {&A::getFlatbedCoeffs}, expected);
    };
    flatbed(older, {1, {}, {1, 2, 3}, {1, 1, 1}, {4, 5, 6}, 0});
    flatbed(older + Counting("FBCOEFFS_2", 9, 11),
            {1, {}, {11, 12, 13}, {14, 15, 16}, {17, 18, 19}, 0});
    // The newer one's values lie over the older's when that is tested.
    flatbed("FBCOEFFS_2\n11 12 13 14 15 16 17 18 1001\n" + older,
            {1, {}, {11, 12, 13}, {1, 1, 1}, {14, 15, 16}, 0});
    flatbed(older + "FBCOEFFS_2\n11 12 13 14\n", {1, {}, {11, 12, 13}, {1, 1, 1}, {14, 5, 6}, 0});

    Expect(*Load(Counting("DARK_VALUES", 9, 1.5)), {&A::getDarkValues},
           {{1, {}, {1, 2, 3, 4}, {5, 6, 7, 8}, {}, 9}, {}});
    const auto both = Load(Counting("DARK_VALUES", 9) + Counting("DARK_VALUES_2", 13));
    EXPECT_EQ(both->Report(DarkValues).m_outcome, ScanTableOutcome::Superseded);
    both->loadDarkValues(CScannerProfile(""), "");
    ExpectFallbacks(*both);
}

TEST(ScanAttrib, ListsHaveAsManyRowsAsTheirCountSays) {
    const auto areas = [](const std::string& text) {
        return Rows(*Load("EXCLUSION_AREAS\n" + text), &A::getExclusionAreas);
    };
    EXPECT_EQ(areas("2\n1 10 20 30 40.9\n16, 0, 0, 5000, 1\n9 9 9 9 9\n"),
              (Numbers{1, 10, 20, 30, 40, 16, 0, 0, 5000, 1}));
    for (const char* none : {"0\n1 2 3 4 5\n", "2\n1 10 20 30 40\n", "-1\n1 2 3 4 5\n",
                             "1\n1 2 3 4 5001\n", "1001\n", "1e300\n", "x\n"})
        EXPECT_EQ(areas(none), Numbers{}) << none;
    EXPECT_EQ(Rows(*Load("JPEG_QFACTOR_24\n1\n300 1 50\n"), &A::getJpegTable24),
              (Numbers{300, 1, 50}));
    EXPECT_EQ(Rows(*Load("JPEG_QFACTOR_8\n1\n100 1 10001\n"), &A::getJpegTable8), Numbers{});
}

TEST(ScanAttrib, SensorsHaveKeysOfTheirOwn) {
    for (const auto& [sensor, first] :
         {std::pair{"", 0}, {"Sony", 1}, {"NEC", 2}, {"Toshiba", 3}, {"sony", 0}})
        Expect(*Load("GRAY\n0 0 0 0 0 0\nGRAY_SN\n1 0 0 0 0 0\nGRAY_NC\n2 0 0 0 0 0\n"
                     "GRAY_TS\n3 0 0 0 0 0\n",
                     sensor),
               {&A::getGrayTable}, {1, {}, {static_cast<double>(first), 0, 0}, 0, 0, 0});
}

// ---- The profile that the driver carries

TEST(BuiltInProfile, DiffersFromTheFallbacksOnlyWhereItShould) {
    ExpectFallbacks(BuiltinAttrib(), {NegCoeffs, Neg6x3, SharpSmooth, SharpSmooth2, Defaults});
    EXPECT_TRUE(CheckProfileText(BuiltinProfileText()).empty());
}

}  // namespace
