#include <set>

#include "tests/profile/profile_rig.h"

namespace {

const std::vector<MadeNode> kTwoLeaves = {{'a'}, {'b'}, {256, 'a', 'b'}};

TEST(ProfileContainer, DecodesHandMadeTrees) {
    EXPECT_EQ(ReadContainer(MakeContainer(256, 2, 5, kTwoLeaves, "01101")).text, "abbab");
    const std::vector<MadeNode> turned = {kTwoLeaves[2], kTwoLeaves[1], kTwoLeaves[0]};
    EXPECT_EQ(ReadContainer(MakeContainer(256, 2, 8, turned, "01101001")).text, "abbabaab")
        << "nodes name themselves; codes that fill their byte need no padding";
    // b 0, d 10, a 110, c 111.
    const std::vector<MadeNode> deep = {{'a'},           {'b'},           {'c'},          {'d'},
                                        {256, 'a', 'c'}, {257, 'd', 256}, {258, 'b', 257}};
    EXPECT_EQ(ReadContainer(MakeContainer(258, 4, 5, deep, "110010111110")).text, "abdca");
}

TEST(ProfileContainer, PacksWhatItReads) {
    EXPECT_EQ(ReadContainer(Pack("z")).text, "z");
    EXPECT_EQ(ReadContainer(Pack("")).status, ProfileStatus::Whole);
    EXPECT_EQ(ReadContainer(Pack("12345"), 6).text, "12345");
    EXPECT_EQ(ReadContainer(Pack("12345"), 5).status, ProfileStatus::Cut) << "no room for its zero";
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
    }
    EXPECT_GT(before.size(), text.size() - 8);
}

TEST(ProfileContainer, RefusesWhatWouldLeadBeyondItsTables) {
    const auto made = [](std::vector<MadeNode> nodes, std::string_view bits) {
        return MakeContainer(256, static_cast<std::uint32_t>(nodes.size() - 1), 3, nodes, bits);
    };
    const std::vector<MadeNode>& good = kTwoLeaves;
    constexpr auto kBad = ProfileStatus::BadTree;
    const struct {
        std::string bytes;
        ProfileStatus status;
        std::string text;
    } rows[] = {
        {made({good[0], good[1], good[2], {511}}, "010"), kBad, ""},
        {made({good[0], {256, 'a', 300}}, "01"), kBad, "a"},
        // A ring.
        {made({good[0], {256, 'a', 256}}, "0" + std::string(63, '1')), ProfileStatus::Cut, "a"},
    };
    for (const auto& row : rows) {
        const ReadBack back = ReadContainer(row.bytes);
        EXPECT_EQ(back.status, row.status);
        EXPECT_EQ(back.text, row.text);
    }
}

}  // namespace
