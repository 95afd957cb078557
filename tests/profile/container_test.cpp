#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "platform/files.h"
#include "profile/profile_writer.h"
#include "tests/profile/profile_rig.h"

namespace {

std::string Pack(std::string_view text) {
    const auto bytes = PackProfile(text);
    return {bytes.begin(), bytes.end()};
}

std::uint32_t NumberAt(const std::string& bytes, std::size_t offset) {
    std::uint32_t number = 0;
    for (int i = 3; i >= 0; --i)
        number =
            number << 8 | static_cast<std::uint8_t>(bytes[offset + static_cast<std::size_t>(i)]);
    return number;
}

// `count` different bytes.
std::string Alphabet(std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes += static_cast<char>(255 - i * 3 % 256);
    return bytes;
}

std::string RandomText(const std::string& bytes, std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::string text = bytes;  // each at least once
    while (text.size() < length)
        text += bytes[random() % (random() % bytes.size() + 1)];
    return text;
}

ProfileStatus ReadFrom(const std::string& path, std::string* text) {
    const HANDLE file =
        CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ProfileTree tree;
    std::vector<char> buffer(kProfileTextSize, 'x');
    const ProfileStatus status = ReadProfileFile(tree, file, buffer.data(), kProfileTextSize);
    *text = buffer.data();
    EXPECT_FALSE(CloseHandle(file)) << "it is closed in all cases";
    return status;
}

TEST(ProfileContainer, DecodesHandMadeTreesOfEveryShape) {
    const std::vector<MadeNode> two = {MadeLeaf('a'), MadeLeaf('b'), {256, 'a', 'b'}};
    EXPECT_EQ(ReadContainer(MakeContainer(256, 2, 5, two, "01101")).text, "abbab");
    const std::vector<MadeNode> turned = {two[2], two[1], two[0]};
    EXPECT_EQ(ReadContainer(MakeContainer(256, 2, 8, turned, "01101001")).text, "abbabaab")
        << "nodes name themselves; codes that fill their byte need no padding";
    EXPECT_EQ(ReadContainer(MakeContainer(256, 1, 3, {MadeLeaf('z'), {256, 'z', 'z'}}, "010")).text,
              "zzz");
    for (const std::size_t count : {2u, 3u, 72u, 256u}) {
        const std::string bytes = Alphabet(count);
        const std::string text = RandomText(bytes, 300, 1);
        const ReadBack back = ReadContainer(MakeComb(bytes, text));
        EXPECT_EQ(back.status, ProfileStatus::Whole) << count;
        EXPECT_EQ(back.text, text) << count;
    }
}

TEST(ProfileContainer, PacksWhatItReads) {
    for (const std::size_t count : {1u, 2u, 3u, 72u, 255u, 256u}) {
        const std::string text = RandomText(Alphabet(count), 2000 + count, 7);
        const std::string packed = Pack(text);
        EXPECT_EQ(ReadContainer(packed).text, text) << count;
        if (count == 1)
            continue;
        ASSERT_EQ(NumberAt(packed, 6), 254 + count);
        ASSERT_EQ(NumberAt(packed, 10), count);
        ASSERT_EQ(NumberAt(packed, 14), text.size());
        // Leaves in ascending order, then the inner nodes, the root last.
        std::vector<std::uint32_t> order;
        for (std::size_t i = 0; i < 2 * count - 1; ++i)
            order.push_back(NumberAt(packed, 18 + 12 * i));
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
        EXPECT_EQ(order.back(), 254 + count);
    }
    EXPECT_EQ(ReadContainer(Pack("")).status, ProfileStatus::Whole);
    EXPECT_EQ(ReadContainer(Pack("")).text, "");
}

TEST(ProfileContainer, PacksIntoTheFewestBitsThatACodeCanHave) {
    const std::string text = RandomText(Alphabet(72), 5000, 3);
    std::map<char, std::size_t> counts;
    for (const char c : text)
        ++counts[c];
    std::multiset<std::size_t> open;
    for (const auto& [byte, count] : counts)
        open.insert(count);
    std::size_t bits = 0;  // the sum of all joined weights
    while (open.size() > 1) {
        const std::size_t joined = *open.begin() + *std::next(open.begin());
        open.erase(open.begin());
        open.erase(open.begin());
        open.insert(joined);
        bits += joined;
    }
    EXPECT_EQ(Pack(text).size(), 18 + 12 * 143 + (bits + 7) / 8);
}

TEST(ProfileContainer, CutAnywhereIsToldAndGivesTheTextUpToThere) {
    const CProfileFolder folder;
    const std::string text = "DEFAULTS\n200 200 1 0 1\n1200, 980, 0, 1, 240, 180\n";
    const std::string packed = Pack(text);
    const std::size_t bits = 18 + 12 * (2 * NumberAt(packed, 10) - 1);
    std::string before;
    for (std::size_t size = 0; size < packed.size(); ++size) {
        const ReadBack back = ReadContainer(packed.substr(0, size));
        const ProfileStatus expected = size < 6      ? ProfileStatus::NoMagic
                                       : size < bits ? ProfileStatus::BadTree
                                                     : ProfileStatus::Cut;
        EXPECT_EQ(back.status, expected) << size;
        EXPECT_EQ(back.text, text.substr(0, back.text.size()));
        EXPECT_GE(back.text.size(), before.size());
        before = back.text;

        std::string fromFile;
        const ProfileStatus status =
            ReadFrom(folder.Put("cut.spf", packed.substr(0, size)), &fromFile);
        EXPECT_EQ(fromFile, back.text) << size;
        // The end of a file is no failed read: there are no codes then.
        EXPECT_EQ(status, size >= 18 && size < bits ? ProfileStatus::Cut : expected) << size;
    }
    EXPECT_GT(before.size(), text.size() - 8);
    std::string whole;
    EXPECT_EQ(ReadFrom(folder.Put("whole.spf", packed + "more"), &whole), ProfileStatus::Whole);
    EXPECT_EQ(whole, text);
}

TEST(ProfileContainer, RefusesWhatWouldLeadBeyondItsTables) {
    const std::vector<MadeNode> good = {MadeLeaf('a'), MadeLeaf('b'), {256, 'a', 'b'}};
    std::vector<MadeNode> many(512, good[2]);
    many[0] = good[0];
    many[1] = good[1];
    struct Row {
        const char* what;
        std::string bytes;
        ProfileStatus status;
        std::string text;
    };
    const auto made = [](std::vector<MadeNode> nodes, std::string_view bits) {
        return MakeContainer(256, static_cast<std::uint32_t>(nodes.size() - 1), 3, nodes, bits);
    };
    const std::string ok = MakeContainer(256, 2, 3, good, "010");
    const Row rows[] = {
        {"node 511", made({good[0], good[1], good[2], MadeLeaf(511)}, "010"),
         ProfileStatus::BadTree, ""},
        {"node 510 fits", made({good[0], {256, 'a', 510}, MadeLeaf(510)}, "010"),
         ProfileStatus::Whole,
         "a\xFE"
         "a"},
        {"largest node", made({good[0], good[1], MadeLeaf(kLeafMark)}, "010"),
         ProfileStatus::BadTree, ""},
        {"child 511", made({good[0], {256, 'a', 511}}, "001"), ProfileStatus::BadTree, "aa"},
        {"child without a record", made({good[0], {256, 'a', 300}}, "01"), ProfileStatus::BadTree,
         "a"},
        {"second child of a leaf only", made({good[0], {256, 'a', kLeafMark}}, "01"),
         ProfileStatus::BadTree, "a"},
        {"both children 0, no node 0", made({good[0], {256, 'a', 257}, {257, 0, 0}}, "010"),
         ProfileStatus::BadTree, "a"},
        {"a ring", made({good[0], {256, 'a', 256}}, "0" + std::string(63, '1')), ProfileStatus::Cut,
         "a"},
        {"root is a leaf", MakeContainer('a', 256, 3, good, "010"), ProfileStatus::BadTree, ""},
        {"root without a record", MakeContainer(257, 1, 3, good, "010"), ProfileStatus::BadTree,
         ""},
        {"root without a record beside a leaf 0",
         MakeContainer(257, 2, 3, {good[0], good[1], good[2], MadeLeaf(0)}, "010"),
         ProfileStatus::BadTree, ""},
        {"one node more than the table has", MakeContainer(256, 511, 3, many, "010"),
         ProfileStatus::BadTree, ""},
        {"root 511", MakeContainer(511, 0, 0, {}, ""), ProfileStatus::BadTree, ""},
        {"fewer nodes than none", MakeContainer(100, 3, 0, {}, ""), ProfileStatus::BadTree, ""},
        {"more nodes than fit", MakeContainer(510, 257, 0, {}, ""), ProfileStatus::BadTree, ""},
        {"four thousand million leaves", MakeContainer(256, 0xFFFFFFFFu, 3, good, "010"),
         ProfileStatus::BadTree, ""},
        {"endless text", MakeContainer(256, 2, 0xFFFFFFFFu, good, "010"), ProfileStatus::Cut, ""},
        {"no text needs no bits", MakeContainer(256, 2, 0, good, ""), ProfileStatus::Whole, ""},
    };
    EXPECT_EQ(ReadContainer(ok).text, "aba");
    for (const Row& row : rows) {
        const ReadBack back = ReadContainer(row.bytes);
        EXPECT_EQ(back.status, row.status) << row.what;
        EXPECT_EQ(back.text, row.text) << row.what;
    }
    for (std::size_t i = 0; i < 6; ++i) {
        std::string bytes = ok;
        bytes[i] = static_cast<char>(bytes[i] ^ 1);
        EXPECT_EQ(ReadContainer(bytes).status, ProfileStatus::NoMagic);
        EXPECT_EQ(ReadContainer(bytes).text, "");
    }
}

TEST(ProfileContainer, TextFitsTheBufferWithItsZeroOrIsRefused) {
    const std::string packed = Pack("12345");
    EXPECT_EQ(ReadContainer(packed, 6).text, "12345");
    EXPECT_EQ(ReadContainer(packed, 5).status, ProfileStatus::Cut);
    EXPECT_EQ(ReadContainer(packed, 5).text, "");
    EXPECT_EQ(ReadContainer(packed, 1).status, ProfileStatus::Cut);
    const std::string zeros("a\0b\0", 4);
    EXPECT_EQ(ReadContainer(Pack(zeros)).text, zeros);
    EXPECT_EQ(ReadContainer(Pack(std::string(9, '\0'))).text, std::string(9, '\0'));
}

}  // namespace
