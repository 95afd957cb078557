#include "tools/profile/command.h"

#include <CLI/CLI.hpp>
#include <sstream>

#include "tests/profile/profile_rig.h"

namespace {

struct CommandResult {
    int code;
    std::string out;
    std::string errors;
};

CommandResult Profile(std::vector<std::string> words) {
    CLI::App app;
    ProfileOptions options;
    AddProfile(app, options);
    std::reverse(words.begin(), words.end());
    words.push_back("profile");
    app.parse(words);
    std::ostringstream out;
    std::ostringstream errors;
    const int code = RunProfile(options, out, errors);
    return {code, out.str(), errors.str()};
}

TEST(ProfileCommand, TextComesBackFromItsContainer) {
    const std::string text = "FB\n1 0 0 0 1 0 0 0 1\n";
    EXPECT_EQ(Profile({"pack", Put("mine.txt", text)}).code, 0);
    EXPECT_EQ(ReadContainer(ReadWholeFile(PathOf("mine.spf"))).text, text);
    EXPECT_EQ(Profile({"unpack", PathOf("mine.spf")}).out, text);
}

TEST(ProfileCommand, RefusesWhatItCantPackOrUnpack) {
    const std::string packed = Pack("FB\n1\n");
    const std::string spf = Put("good.spf", packed);
    const struct {
        std::vector<std::string> words;
        int code;
        const char* says;
    } rows[] = {
        {{"pack", PathOf("none.txt")}, 2, "can't be opened"},
        {{"pack", spf}, 2, "is packed already"},
        {{"pack", Put("self.spf", "FB\n")}, 2, "would be overwritten"},
        {{"pack", Put("long", std::string(10000, '\n'))}, 2, "10000 bytes of text, at most 9999"},
        {{"unpack", Put("cut", packed.substr(0, packed.size() - 1))}, 2, "ends behind"},
    };
    for (const auto& row : rows) {
        const CommandResult result = Profile(row.words);
        EXPECT_EQ(result.code, row.code) << row.words[0] << ' ' << row.says;
        EXPECT_NE(result.errors.find(row.says), std::string::npos) << result.errors;
    }
    EXPECT_EQ(ReadWholeFile(PathOf("self.spf")), "FB\n");
}

TEST(ProfileCommand, ShowTellsWhereEachTableComesFrom) {
    const std::string name = Put("shown.txt",
                                 "VERSION\n2\nFB\n2 0 0 0 1 0 0 0 1\nSLIDE\n1 0 0 0\n1 0 0 5.5 1\n"
                                 "FBCOEFFS\n1 2 3 4 5 6\nPOST\n1 2 3\n");
    const CommandResult shown = Profile({"show", name});
    for (const char* part : {
             "FB                      profile, line 3\n    2 0 0\n    0 1 0\n    0 0 1\n",
             "SLIDE                   fallback; line 7: value 5.5 is out of range, -5 to 5\n",
             "POST                    fallback; line 10: 3 of 9 values before the text ends\n",
             "FBCOEFFS_2              profile, FBCOEFFS, line 8; not in the profile\n",
         })
        EXPECT_NE(shown.out.find(part), std::string::npos) << part << shown.out;
}

TEST(ProfileCommand, CheckNamesLineAndValue) {
    const std::string fb = "FB\n1 0 0\n0 1 0\n0 0 1\n";
    const struct {
        std::string text;
        std::string says;
    } rows[] = {
        {fb, ""},
        {"\nFB\n1 0 0\n0 5.01 0\n0 0 1\n", ":4: error: FB: value 5.01 is out of range, -5 to 5\n"},
        {"FB\n1 0 0\n0 1 O\n0 0 1\n", ":3: error: FB: 'O' is no number and counts as 0\n"},
        {"FB\n1 0 0\n0 1 0\n0 0 1 7\n", ":4: error: FB: '7' stands behind the last of 9 values\n"},
        {fb + fb, ":5: error: FB: repeated, only the first one counts\n"},
        {fb + "MINE\n9\n", ":5: note: 'MINE' is no table of this driver\n"},
        {fb + "VERSION\n-1\n", ":6: note: VERSION -1 is negative: the profile isn't used\n"},
        {Pack(fb).substr(0, Pack(fb).size() - 1), ": error: ends behind"},
    };
    for (const auto& row : rows) {
        const CommandResult result = Profile({"check", Put("checked.txt", row.text)});
        EXPECT_NE(result.out.find(row.says), std::string::npos) << row.says << result.out;
        EXPECT_EQ(result.out.empty(), row.says.empty()) << result.out;
        EXPECT_EQ(result.code, result.out.find("error:") != std::string::npos ? 1 : 0);
    }
}

}  // namespace
