#include <set>

#include "platform/files.h"
#include "tests/profile/profile_rig.h"

namespace {

ReadBack ReadFrom(const std::string& path) {
    const HANDLE file =
        CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ProfileTree tree;
    std::vector<char> buffer(kProfileTextSize, 'x');
    const ProfileStatus status = ReadProfileFile(tree, file, buffer.data(), kProfileTextSize);
    EXPECT_FALSE(CloseHandle(file)) << "it is closed in all cases";
    return {status, buffer.data()};
}

const std::vector<MadeNode> kTwoLeaves = {{'a'}, {'b'}, {256, 'a', 'b'}};

TEST(ProfileContainer, DecodesHandMadeTrees) {
    EXPECT_EQ(ReadContainer(MakeContainer(256, 2, 5, kTwoLeaves, "01101")).text, "abbab");
    const std::vector<MadeNode> turned = {kTwoLeaves[2], kTwoLeaves[1], kTwoLeaves[0]};
    EXPECT_EQ(ReadContainer(MakeContainer(256, 2, 8, turned, "01101001")).text, "abbabaab")
        << "nodes name themselves; codes that fill their byte need no padding";
    EXPECT_EQ(ReadContainer(MakeContainer(256, 1, 3, {{'z'}, {256, 'z', 'z'}}, "010")).text, "zzz");
    // b 0, d 10, a 110, c 111.
    const std::vector<MadeNode> deep = {{'a'},           {'b'},           {'c'},          {'d'},
                                        {256, 'a', 'c'}, {257, 'd', 256}, {258, 'b', 257}};
    EXPECT_EQ(ReadContainer(MakeContainer(258, 4, 5, deep, "110010111110")).text, "abdca");
}

TEST(ProfileContainer, PacksWhatItReads) {
    std::string text;
    for (int i = 0; i < 3000; ++i)
        text += static_cast<char>(i % (i % 256 + 1));  // all bytes, the low ones more often
    EXPECT_EQ(ReadContainer(Pack(text)).text, text);
    EXPECT_EQ(ReadContainer(Pack("z")).text, "z");
    EXPECT_EQ(ReadContainer(Pack("")).status, ProfileStatus::Whole);
    EXPECT_EQ(ReadContainer(Pack("12345"), 6).text, "12345");
    EXPECT_EQ(ReadContainer(Pack("12345"), 5).status, ProfileStatus::Cut) << "no room for its zero";
    EXPECT_EQ(ReadContainer(Pack("12345"), 1).text, "");
}

TEST(ProfileContainer, CutAnywhereIsToldAndGivesTheTextUpToThere) {
    const std::string text = "DEFAULTS\n200 200 1 0 1\n1200, 980, 0, 1, 240, 180\n";
    const std::string packed = Pack(text);
    const std::size_t leaves = std::set<char>(text.begin(), text.end()).size();
    const std::size_t bits = 18 + 12 * (2 * leaves - 1);  // where they begin
    std::string before;
    for (std::size_t size = 0; size < packed.size(); ++size) {
        const std::string cut = packed.substr(0, size);
        const ReadBack back = ReadContainer(cut);
        const ProfileStatus expected = size < 6      ? ProfileStatus::NoMagic
                                       : size < bits ? ProfileStatus::BadTree
                                                     : ProfileStatus::Cut;
        EXPECT_EQ(back.status, expected) << size;
        EXPECT_EQ(back.text, text.substr(0, back.text.size()));
        EXPECT_GE(back.text.size(), before.size());
        before = back.text;

        const ReadBack fromFile = ReadFrom(Put("cut.spf", cut));
        EXPECT_EQ(fromFile.text, back.text) << size;
        // The end of a file is no failed read: there are no codes then.
        EXPECT_EQ(fromFile.status, size >= 18 && size < bits ? ProfileStatus::Cut : expected);
    }
    EXPECT_GT(before.size(), text.size() - 8);
    EXPECT_EQ(ReadFrom(Put("whole.spf", packed + "more")).text, text);
}

TEST(ProfileContainer, RefusesWhatWouldLeadBeyondItsTables) {
    const auto made = [](std::vector<MadeNode> nodes, std::string_view bits) {
        return MakeContainer(256, static_cast<std::uint32_t>(nodes.size() - 1), 3, nodes, bits);
    };
    const std::vector<MadeNode>& good = kTwoLeaves;
    constexpr auto kWhole = ProfileStatus::Whole;
    constexpr auto kBad = ProfileStatus::BadTree;
    constexpr auto kCut = ProfileStatus::Cut;
    const struct {
        const char* what;
        std::string bytes;
        ProfileStatus status;
        std::string text;
    } rows[] = {
        {"node 511", made({good[0], good[1], good[2], {511}}, "010"), kBad, ""},
        {"child without a record", made({good[0], {256, 'a', 300}}, "01"), kBad, "a"},
        {"children 0, no node 0", made({good[0], {256, 'a', 257}, {257, 0, 0}}, "010"), kBad, "a"},
        {"a ring", made({good[0], {256, 'a', 256}}, "0" + std::string(63, '1')), kCut, "a"},
        {"root is a leaf", MakeContainer('a', 256, 3, good, "010"), kBad, ""},
        {"no text needs no bits", MakeContainer(256, 2, 0, good, ""), kWhole, ""},
        {"no magic", "!@#$%x" + made(good, "010").substr(6), ProfileStatus::NoMagic, ""},
    };
    for (const auto& row : rows) {
        const ReadBack back = ReadContainer(row.bytes);
        EXPECT_EQ(back.status, row.status) << row.what;
        EXPECT_EQ(back.text, row.text) << row.what;
    }
}

}  // namespace
