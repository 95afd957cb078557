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
    try {
        app.parse(words);
    } catch (const CLI::ParseError& error) {
        return {-1, "", error.what()};
    }
    std::ostringstream out;
    std::ostringstream errors;
    const int code = RunProfile(options, out, errors);
    return {code, out.str(), errors.str()};
}

class ProfileCommand : public testing::Test {
  protected:
    // What `check` says of a text, without the file's name ahead.
    std::string Findings(const std::string& text) {
        const std::string name = m_folder.Put("checked.txt", text);
        std::string out = Profile({"check", name}).out;
        for (std::size_t at = out.find(name); at != std::string::npos; at = out.find(name))
            out.erase(at, name.size());
        return out;
    }
    CProfileFolder m_folder;
};

TEST_F(ProfileCommand, TextComesBackFromItsContainer) {
    const std::string text = m_folder.Put("mine.txt", "FB\n1 0 0 0 1 0 0 0 1\n");
    EXPECT_EQ(Profile({"pack", text}).code, 0);
    EXPECT_EQ(ReadContainer(m_folder.Get("mine.spf")).text, m_folder.Get("mine.txt"));
    EXPECT_EQ(Profile({"unpack", m_folder.Path("mine.spf")}).out, m_folder.Get("mine.txt"));
    EXPECT_EQ(Profile({"unpack", m_folder.Path("mine.spf"), "-o", m_folder.Path("again.txt")}).code,
              0);
    EXPECT_EQ(m_folder.Get("again.txt"), m_folder.Get("mine.txt"));
    const CommandResult builtIn = Profile({"unpack", "--builtin"});
    EXPECT_EQ(builtIn.code, 0);
    EXPECT_NE(builtIn.out.find("\nNEG_DUSTNSCRATCH\n0\n"), std::string::npos);
}

TEST_F(ProfileCommand, RefusesWhatItCantPackOrUnpack) {
    const std::string good = m_folder.Put("good.txt", "FB\n1\n");
    const std::string packed = m_folder.Put("good.spf", MakeComb("FB\n1", "FB\n1\n"));
    struct Row {
        std::vector<std::string> words;
        int code;
        const char* says;
    };
    const Row rows[] = {
        {{"pack", m_folder.Path("none.txt")}, 2, "can't be opened"},
        {{"pack", m_folder.Put("empty", "")}, 2, "is empty"},
        {{"pack", packed}, 2, "is packed already"},
        {{"pack", m_folder.Put("self.spf", "FB\n")}, 2, "would be overwritten"},
        {{"pack", m_folder.Put("long", std::string(10000, '\n'))},
         2,
         "10000 bytes of text, at most 9999"},
        {{"pack", m_folder.Put("huge", std::string(2 << 20, '\n'))}, 2, "too large"},
        {{"pack", m_folder.Put("binary", std::string("FB\n\0", 4))}, 2, "nor a text"},
        {{"pack", good, "-o", m_folder.Path("nowhere/x.spf")}, 1, "can't be created"},
        {{"pack"}, 2, "needs a FILE"},
        {{"unpack", "--builtin", packed}, 2, "not both"},
        {{"unpack", good}, 2, "is no profile container"},
        {{"unpack", m_folder.Put("cut", m_folder.Get("good.spf").substr(0, 103))},
         2,
         "ends behind"},
        {{"show", m_folder.Put("tree", m_folder.Get("good.spf").substr(0, 40))}, 2, "its tree"},
        {{"check", m_folder.Path("none.txt")}, 2, "can't be opened"},
        {{"unknown"}, -1, ""},
    };
    for (const Row& row : rows) {
        const CommandResult result = Profile(row.words);
        EXPECT_EQ(result.code, row.code) << row.words[0] << ' ' << row.says;
        EXPECT_NE(result.errors.find(row.says), std::string::npos) << result.errors;
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(m_folder.Get("self.spf"), "FB\n");
}

TEST_F(ProfileCommand, ShowTellsWhereEachTableComesFrom) {
    const std::string name =
        m_folder.Put("shown.txt",
                     "VERSION\n2\nFB\n2 0 0 0 1 0 0 0 1\nSLIDE\n1 0 0 0\n1 0 0 5.5 1\n"
                     "FBCOEFFS\n1 2 3 4 5 6\nEXCLUSION_AREAS\n1\n1 2 3 4 5\nPOST\n1 2 3\n");
    const CommandResult shown = Profile({"show", name});
    EXPECT_EQ(shown.code, 0);
    for (const char* part : {
             ": 117 bytes of text, version 2\n",
             "FB                      profile, line 3\n    2 0 0\n    0 1 0\n    0 0 1\n",
             "SLIDE                   fallback; line 7: value 5.5 is out of range, -5 to 5\n",
             "ADF                     fallback; not in the profile\n",
             "POST                    fallback; line 13: 3 of 9 values before the text ends\n",
             "FBCOEFFS_2              profile, FBCOEFFS, line 8; not in the profile\n"
             "    1 2 3\n    1 1 1\n    4 5 6\n",
             "DARK_VALUES_2           fallback; not in the profile; DARK_VALUES: not in the "
             "profile\n",
             "EXCLUSION_AREAS         profile, line 10\n    1\n    1 2 3 4 5\n",
             "SHARP_SMOOTH            fallback; not in the profile\n    15 25 40 45 45 0 8 1\n",
             "Tables of the highest resolution: none\n",
         })
        EXPECT_NE(shown.out.find(part), std::string::npos) << part << shown.out;
    EXPECT_EQ(Profile({"show", "--builtin"}).code, 0);
}

TEST_F(ProfileCommand, CheckNamesLineAndValue) {
    EXPECT_EQ(Profile({"check", "--builtin"}).out, "");
    EXPECT_EQ(Profile({"check", "--builtin"}).code, 0);
    const std::string fb = "FB\n1 0 0\n0 1 0\n0 0 1\n";
    EXPECT_EQ(Findings(fb), "");
    struct Row {
        std::string text;
        const char* says;
    };
    const Row rows[] = {
        {"\nFB\n1 0 0\n0 5.01 0\n0 0 1\n", ":4: error: FB: value 5.01 is out of range, -5 to 5\n"},
        {"FB\n1 0 0\n0 1 O\n0 0 1\n", ":3: error: FB: 'O' is no number and counts as 0\n"},
        {"FB\n1 0 0\n0 1 0x\n0 0 1\n", ":3: error: FB: '0x' counts as 0\n"},
        {"FB\n1 0 0\n0 1 0\n0 0\nX\n", ":5: error: FB: 'X' is no number and counts as 0\n"},
        {"FB\n1 0 0\n", ":1: error: FB: 3 of 9 values before the text ends\n"},
        {"FB\n1 0 0\n0 1 0\n0 0 1 7\n", ":4: error: FB: '7' stands behind the last of 9 values\n"},
        {"FB 1 0 0\n1 0 0\n0 1 0\n0 0 1\n",
         ":1: error: FB: '1' on the key's own line isn't read\n"},
        {fb + fb, ":5: error: FB: repeated, only the first one counts\n"},
        {fb + "VERSION\n1", ":6: error: the last line has no line feed and isn't read\n"},
        {fb + std::string(512, '/') + "\n",
         ":5: error: 512 characters: above 511, a line is read in pieces\n"},
        {"EXCLUSION_AREAS\n2\n1 2 3 4 5\n1 2 3 4 6000\n",
         ":4: error: EXCLUSION_AREAS: value 6000 is out of range, 0 to 5000\n"},
        {fb + "9\n9\n", ":5: note: value 9 belongs to no table\n"},
        {fb + "MINE\n9\n", ":5: note: 'MINE' is no table of this driver\n"},
        {fb + "VERSION\n-1\n", ":6: note: VERSION -1 is negative: the profile isn't used\n"},
        {std::string(10000, '\n'), ": error: 10000 bytes of text, at most 9999 are read\n"},
    };
    for (const Row& row : rows) {
        const std::string found = Findings(row.text);
        EXPECT_NE(found.find(row.says), std::string::npos) << row.says << found;
        EXPECT_EQ(Profile({"check", m_folder.Path("checked.txt")}).code,
                  found.find("error:") != std::string::npos ? 1 : 0);
    }
    const std::string packed = MakeComb("FB\n1", "FB\n1\n");
    const CommandResult cut = Profile({"check", m_folder.Put("cut", packed.substr(0, 103))});
    EXPECT_EQ(cut.code, 1);
    EXPECT_NE(cut.out.find("error: ends behind"), std::string::npos);
}

}  // namespace
