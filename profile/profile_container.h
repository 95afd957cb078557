// The container of a scanner profile: a text of a few kilobytes, packed with a static Huffman code.
//
//     offset  size
//     0       6     "!@#$%" and a zero byte
//     6       4     root: number of the tree's root node
//     10      4     leafCount: different byte values in the text
//     14      4     textLength: bytes of text
//     18      12 n  the nodes: number, child of a 0 bit, child of a 1 bit; n = root + leafCount -
//     255 18+12n  rest  the codes of the bytes, each byte from its highest bit on; decoding ends by
//     count
//
// All numbers are little-endian 32-bit values. Nodes 0 to 255 are leaves and stand for that byte;
// both children of a leaf are kProfileLeaf. Inner nodes count from 256 on. Nodes may stand in any
// order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/handle.h"

inline constexpr char kProfileMagic[6] = {'!', '@', '#', '$', '%', 0};
inline constexpr std::uint32_t kProfileNodes = 511;
inline constexpr std::uint32_t kFirstInnerNode = 256;
inline constexpr std::uint32_t kProfileLeaf = 0xFFFFFFFFu;
// Room for every profile's text with its ending zero.
inline constexpr std::uint32_t kProfileTextSize = 10000;

struct ProfileNode {
    std::uint32_t m_child[2];
};

// The decoding table. Readers clear it first.
struct ProfileTree {
    ProfileNode m_nodes[kProfileNodes];
};
static_assert(sizeof(ProfileTree) == 4088);

struct ProfileHeader {
    std::uint32_t m_root = 0;
    std::uint32_t m_leafCount = 0;
    std::uint32_t m_textLength = 0;
};

enum class ProfileStatus : std::uint16_t {
    Whole = 0,    // the text is whole
    NoMagic = 1,  // this is no container
    BadTree = 2,  // the tree can't be read, or leads nowhere
    Cut = 3,      // the codes end before the text does, or the text is longer than the buffer
};

// Bytes to read a container from.
class CProfileStream {
  public:
    // Reads up to `bytes`, fewer only at the end or on a failure. Returns the count.
    virtual std::uint32_t Read(void* buffer, std::uint32_t bytes) = 0;

  protected:
    ~CProfileStream() = default;
};

// A stream over memory, which stays the caller's.
class CMemoryProfileStream final : public CProfileStream {
  public:
    CMemoryProfileStream(const void* data, std::size_t bytes)
        : m_data(static_cast<const std::uint8_t*>(data)), m_left(bytes) {}
    std::uint32_t Read(void* buffer, std::uint32_t bytes) override;

  private:
    const std::uint8_t* m_data;
    std::size_t m_left;
};

// Both decode into `text` of `size` bytes (1 or more), which in every case ends with a zero byte
// where decoding stopped: for a text that doesn't fit, at its start. Nothing is allocated.
// `header`, which may be null, takes what the container says of itself, as far as it was read.
//
// Closes the file in all cases. A file that ends within its tree has no codes left: Cut.
ProfileStatus ReadProfileFile(ProfileTree& tree, HANDLE file, char* text, std::uint32_t size,
                              ProfileHeader* header = nullptr);
// The stream stays with the caller. One that ends within its tree can't be read: BadTree.
ProfileStatus ReadProfileStream(ProfileTree& tree, CProfileStream& stream, char* text,
                                std::uint32_t size, ProfileHeader* header = nullptr);
