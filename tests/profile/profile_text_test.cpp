#include "profile/profile_lines.h"
#include "profile/scanner_profile.h"
#include "tests/profile/profile_rig.h"

namespace {

using Numbers = std::vector<double>;

// The numbers of a table; empty if it isn't there with as many.
Numbers Look(const std::string& text, const char* key, std::uint16_t count,
             const char* suffix = "") {
    Numbers values(count, -1);
    if (!CScannerProfile::getTableIn(key, suffix, values.data(), count, text.c_str()))
        return {};
    return values;
}

TEST(ProfileText, KeysAreWholeFirstTokens) {
    const std::string text =
        "SLIDECOEFFS\n1\nSLIDE_SHARP\n2\nother SLIDE\n3\nslide\n4\n //\n5\n  SLIDE rest 9 9\n6\n"
        "SLIDE\n7\nSLIDE_SN\n8\n";
    EXPECT_EQ(Look(text, "SLIDE", 1), Numbers{6}) << "first of its name; values begin a line on";
    EXPECT_EQ(Look(text, "SLIDE", 1, "SN"), Numbers{8});
    EXPECT_EQ(Look(text, "SLID", 1, "E"), Numbers{});
    EXPECT_EQ(Look(text, "//", 1), Numbers{5}) << "behind blanks this is a word like others";
    EXPECT_EQ(Look("//FB\n1\n// FB\n2\nFB\n3\n", "FB", 1), Numbers{3});
    EXPECT_EQ(Look("FB\n// 1, 2\n3\n", "FB", 4), (Numbers{0, 1, 2, 3})) << "no comment any more";
}

TEST(ProfileText, ValuesRunOverLinesBetweenSeparators) {
    EXPECT_EQ(Look("K\r\n1,2\t3\r\n\r\n,,\n 4 ,, 5x\nno\n7\n", "K", 7),
              (Numbers{1, 2, 3, 4, 5, 0, 7}));
    EXPECT_EQ(Look("K\n1 2\nL\n3\n", "K", 4), (Numbers{1, 2, 0, 3})) << "a key is no end";
    EXPECT_EQ(Look("K\n1 2\n", "K", 3), Numbers{});
    EXPECT_EQ(Look("K\n1\n2", "K", 2), Numbers{}) << "the last line has no line feed";
    EXPECT_EQ(Look(std::string("K\n1\n\0002\n", 7), "K", 2), Numbers{}) << "a zero byte is the end";

    double partly[3] = {-1, -1, -1};
    EXPECT_FALSE(CScannerProfile::getTableIn("K", "", partly, 3, "K\n1\n2\n"));
    EXPECT_EQ(std::vector(partly, partly + 3), (Numbers{1, 2, -1}));
}

TEST(ProfileText, LongLinesAreReadInPieces) {
    const auto at = [](std::size_t column, const std::string& token) {
        return std::string(column, ' ') + token + '\n';
    };
    EXPECT_EQ(Look("K\n" + at(508, "123"), "K", 1), Numbers{123});
    EXPECT_EQ(Look("K\n" + at(510, "123"), "K", 2), (Numbers{12, 3})) << "split at column 512";
    EXPECT_EQ(Look(at(512, "K") + "1\n", "K", 1), Numbers{1}) << "a key in the second piece";
    EXPECT_EQ(Look("//" + std::string(510, 'x') + "K\n1\n", "K", 1), Numbers{1})
        << "a comment ends with its piece";
    EXPECT_EQ(Look("K\n" + std::string(511, ' ') + "7", "K", 1), Numbers{7})
        << "a whole piece is seen without a line feed";
}

// Numbers like these are held against the library's in fuzz/profile_text_fuzz.cpp.
TEST(ProfileText, NumbersAreDecimalAlone) {
    for (const char* word : {"inf", "-inf", "nan", "infinity", "", "0x10", "px"})
        EXPECT_EQ(ParseProfileNumber(word), 0) << word;
    std::size_t used = 9;
    EXPECT_EQ(ParseProfileNumber("-4.5px", &used), -4.5);
    EXPECT_EQ(used, 4u);
}

}  // namespace
