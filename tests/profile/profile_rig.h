// Containers made byte by byte, and files of profiles in the folder of the tests.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "profile/profile_container.h"
#include "profile/profile_writer.h"
#include "profile/scan_attrib.h"
#include "tests/platform/test_folder.h"

struct MadeNode {
    std::uint32_t node, child0 = 0xFFFFFFFFu, child1 = 0xFFFFFFFFu;
};

// `bits` is a text of '0' and '1'.
inline std::string MakeContainer(std::uint32_t root, std::uint32_t leafCount,
                                 std::uint32_t textLength, const std::vector<MadeNode>& nodes,
                                 std::string_view bits) {
    std::string out("!@#$%\0", 6);
    const auto put = [&out](std::initializer_list<std::uint32_t> numbers) {
        for (const std::uint32_t number : numbers) {
            for (int shift = 0; shift < 32; shift += 8)
                out += static_cast<char>(number >> shift & 0xFF);
        }
    };
    put({root, leafCount, textLength});
    for (const MadeNode& node : nodes)
        put({node.node, node.child0, node.child1});
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (i % 8 == 0)
            out += '\0';
        out.back() = static_cast<char>(out.back() | (bits[i] - '0') << (7 - i % 8));
    }
    return out;
}

inline std::string Pack(std::string_view text) {
    const auto bytes = PackProfile(text);
    return {bytes.begin(), bytes.end()};
}

struct ReadBack {
    ProfileStatus status;
    std::string text;  // up to where decoding stopped
};

// The text buffer lies on the heap, exactly as large as told, and full of dirt.
inline ReadBack ReadContainer(std::string_view bytes, std::uint32_t size = kProfileTextSize) {
    const std::unique_ptr<char[]> text(new char[size]);
    std::memset(text.get(), 0x55, size);
    CMemoryProfileStream stream(bytes.data(), bytes.size());
    ProfileTree tree;
    ProfileHeader header;
    const ProfileStatus status = ReadProfileStream(tree, stream, text.get(), size, &header);
    const std::size_t length =
        status == ProfileStatus::Whole ? header.m_textLength : std::strlen(text.get());
    EXPECT_EQ(text[length], 0);
    return {status, {text.get(), length}};
}

inline std::unique_ptr<CScanAttrib> Load(const std::string& text, const char* sensor = "") {
    return std::make_unique<CScanAttrib>(CScannerProfile(std::string_view(text)), sensor);
}

inline std::string PathOf(const std::string& name) {
    return TestFolder() + '/' + name;
}

// Writes a file, with the folders that it lies in, and returns its path.
inline std::string Put(const std::string& name, std::string_view bytes) {
    WriteWholeFile(PathOf(name), bytes);
    return PathOf(name);
}
