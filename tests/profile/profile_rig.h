// Containers made byte by byte, and a folder for profiles.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "profile/profile_container.h"

inline constexpr std::uint32_t kLeafMark = 0xFFFFFFFFu;

struct MadeNode {
    std::uint32_t node, child0, child1;
};

inline MadeNode MadeLeaf(std::uint32_t node) {
    return {node, kLeafMark, kLeafMark};
}

// `bits` is a text of '0' and '1'; blanks are passed over.
inline std::string MakeContainer(std::uint32_t root, std::uint32_t leafCount,
                                 std::uint32_t textLength, const std::vector<MadeNode>& nodes,
                                 std::string_view bits) {
    std::string out("!@#$%\0", 6);
    const auto put = [&out](std::uint32_t number) {
        for (int shift = 0; shift < 32; shift += 8)
            out += static_cast<char>(number >> shift & 0xFF);
    };
    for (const std::uint32_t number : {root, leafCount, textLength})
        put(number);
    for (const MadeNode& node : nodes) {
        for (const std::uint32_t number : {node.node, node.child0, node.child1})
            put(number);
    }
    int used = 0;
    for (const char bit : bits) {
        if (bit == ' ')
            continue;
        if (used == 0)
            out += '\0';
        if (bit == '1')
            out.back() = static_cast<char>(out.back() | 1 << (7 - used));
        used = (used + 1) % 8;
    }
    return out;
}

// A comb: the k-th of n bytes has n - 1 - k ones and a zero for its code, the first n - 1 ones.
inline std::string MakeComb(std::string_view bytes, std::string_view text) {
    const std::size_t n = bytes.size();
    std::vector<MadeNode> nodes;
    const auto leaf = [&bytes](std::size_t i) {
        return std::uint32_t{static_cast<std::uint8_t>(bytes[i])};
    };
    for (std::size_t i = 0; i < n; ++i)
        nodes.push_back(MadeLeaf(leaf(i)));
    for (std::size_t i = 1; i < n; ++i) {
        const auto number = static_cast<std::uint32_t>(255 + i);
        nodes.push_back({number, leaf(i), i == 1 ? leaf(0) : number - 1});
    }
    std::string bits;
    for (const char c : text) {
        const std::size_t k = bytes.find(c);
        bits += std::string(n - 1 - k, '1') + (k == 0 ? "" : "0");
    }
    return MakeContainer(static_cast<std::uint32_t>(254 + n), static_cast<std::uint32_t>(n),
                         static_cast<std::uint32_t>(text.size()), nodes, bits);
}

struct ReadBack {
    ProfileStatus status;
    std::string text;  // up to where decoding stopped
    ProfileHeader header;
};

// The text buffer lies on the heap, exactly as large as told, and full of dirt.
inline ReadBack ReadContainer(std::string_view bytes, std::uint32_t size = kProfileTextSize) {
    const std::unique_ptr<char[]> copy(new char[bytes.size()]);
    std::memcpy(copy.get(), bytes.data(), bytes.size());
    const std::unique_ptr<char[]> text(new char[size]);
    std::memset(text.get(), 0x55, size);
    CMemoryProfileStream stream(copy.get(), bytes.size());
    ProfileTree tree;
    ReadBack back;
    back.status = ReadProfileStream(tree, stream, text.get(), size, &back.header);
    const std::size_t length =
        back.status == ProfileStatus::Whole ? back.header.m_textLength : std::strlen(text.get());
    back.text.assign(text.get(), length);
    EXPECT_EQ(text[length], 0);
    return back;
}

class CProfileFolder {
  public:
    CProfileFolder()
        : m_path(std::filesystem::path(testing::TempDir()) /
                 ("profiles" + std::to_string(getpid()))) {
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~CProfileFolder() { std::filesystem::remove_all(m_path); }
    CProfileFolder(const CProfileFolder&) = delete;
    CProfileFolder& operator=(const CProfileFolder&) = delete;

    // Writes a file, with the folders that it lies in, and returns its path.
    std::string Put(const std::string& name, std::string_view bytes) const {
        const std::filesystem::path path = m_path / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    std::string Get(const std::string& name) const {
        std::ifstream in(m_path / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::string Path(const std::string& name = "") const { return m_path / name; }

  private:
    std::filesystem::path m_path;
};
