#include "profile/profile_container.h"

#include <algorithm>
#include <bitset>
#include <cstring>

#include "platform/files.h"

namespace {

// A container is read in blocks of this many bytes: some ten calls for a text of a few kilobytes,
// and nothing to allocate.
constexpr std::size_t kBlockBytes = 512;
// A record: the node's number and its two children, 32 bits each.
constexpr std::size_t kNodeBytes = 12;

// Byte by byte: a record stands anywhere in a block, and not where a number may be aligned.
std::uint32_t LittleEndian(const std::uint8_t* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

// A file as a stream that knows a failed read from the end.
class CFileProfileStream final : public CProfileStream {
  public:
    explicit CFileProfileStream(HANDLE file) : m_file(file) {}

    std::uint32_t Read(void* buffer, std::uint32_t bytes) override {
        DWORD got = 0;
        if (!ReadFile(m_file, buffer, bytes, &got, nullptr))
            m_failed = true;
        return got;
    }
    bool HasFailed() const { return m_failed; }

  private:
    const HANDLE m_file;
    bool m_failed = false;
};

// Takes a stream in blocks, so that the decoder can ask for single bytes.
class CBlockReader {
  public:
    explicit CBlockReader(CProfileStream& stream) : m_stream(stream) {}

    // All of the bytes or, at the end of the stream, false; what was there until then is taken.
    bool Take(std::uint8_t* target, std::size_t bytes) {
        while (bytes-- != 0) {
            if (m_next == m_filled && !Fill())
                return false;
            *target++ = m_block[m_next++];
        }
        return true;
    }

  private:
    // A stream that claims more than it was asked for isn't believed.
    bool Fill() {
        m_next = 0;
        m_filled = std::min<std::size_t>(m_stream.Read(m_block, kBlockBytes), kBlockBytes);
        return m_filled != 0;
    }

    CProfileStream& m_stream;
    std::uint8_t m_block[kBlockBytes];
    std::size_t m_next = 0;
    std::size_t m_filled = 0;
};

// The steps of reading a container, in the order of its parts. The tree comes from outside: a node
// may have no record, and children may lead nowhere or round in a circle.
class CProfileDecoder {
  public:
    CProfileDecoder(ProfileTree& tree, CProfileStream& stream) : m_tree(tree), m_input(stream) {
        m_tree = {};
    }

    bool ReadMagic() {
        std::uint8_t magic[sizeof(kProfileMagic)];
        return m_input.Take(magic, sizeof(magic)) &&
               std::memcmp(magic, kProfileMagic, sizeof(magic)) == 0;
    }

    bool ReadHeader(ProfileHeader& header) {
        std::uint32_t* const fields[] = {&header.m_root, &header.m_leafCount, &header.m_textLength};
        for (std::uint32_t* field : fields) {
            std::uint8_t bytes[4];
            if (!m_input.Take(bytes, sizeof(bytes)))
                return false;
            *field = LittleEndian(bytes);
        }
        return true;
    }

    // False for a tree that doesn't fit the table. `m_treeIsCut` tells of an end within it.
    bool ReadTree(const ProfileHeader& header) {
        // In a tree of n leaves the n - 1 inner nodes are counted from 256 on and the root is the
        // last of them: root + n - 255 nodes. In 64 bits, as both numbers come from outside.
        const std::int64_t count = std::int64_t{header.m_root} + header.m_leafCount - 255;
        if (header.m_root >= kProfileNodes || count < 0 || count > kProfileNodes)
            return false;
        for (std::int64_t i = 0; i < count; ++i) {
            std::uint8_t record[kNodeBytes];
            if (!m_input.Take(record, sizeof(record))) {
                m_treeIsCut = true;
                return true;
            }
            const std::uint32_t node = LittleEndian(record);
            if (node >= kProfileNodes)
                return false;
            m_tree.m_nodes[node] = {{LittleEndian(record + 4), LittleEndian(record + 8)}};
            m_known.set(node);
        }
        return true;
    }
    bool IsTreeCut() const { return m_treeIsCut; }

    // Ends by the text's length: no code stands for its end, and the last byte may have bits left
    // over. `text` has room for all of it and a zero.
    ProfileStatus Decode(const ProfileHeader& header, char* text) {
        ProfileStatus status = ProfileStatus::Whole;
        std::uint32_t done = 0;
        for (; done < header.m_textLength; ++done) {
            std::uint32_t node = header.m_root;
            status = Walk(node);
            if (status != ProfileStatus::Whole)
                break;
            // Leaves are numbered by their byte. One of a damaged tree may have a higher number.
            text[done] = static_cast<char>(node & 0xFF);
        }
        text[done] = 0;
        return status;
    }

  private:
    // From `node` down to a leaf. Each step costs a bit, so that no tree can hold it for ever.
    ProfileStatus Walk(std::uint32_t& node) {
        do {
            int bit = 0;
            if (!TakeBit(bit))
                return ProfileStatus::Cut;
            if (!m_known[node])
                return ProfileStatus::BadTree;
            node = m_tree.m_nodes[node].m_child[bit];
            if (node >= kProfileNodes)
                return ProfileStatus::BadTree;
        } while (m_tree.m_nodes[node].m_child[0] != kProfileLeaf);
        return ProfileStatus::Whole;
    }

    // From the highest bit of each byte on.
    bool TakeBit(int& bit) {
        if (m_bitsLeft == 0) {
            if (!m_input.Take(&m_byte, 1))
                return false;
            m_bitsLeft = 8;
        }
        bit = m_byte >> --m_bitsLeft & 1;
        return true;
    }

    ProfileTree& m_tree;
    CBlockReader m_input;
    // Nodes that have a record. The cleared table can't tell: zeros would be children as well.
    std::bitset<kProfileNodes> m_known;
    bool m_treeIsCut = false;
    std::uint8_t m_byte = 0;
    int m_bitsLeft = 0;
};

// `readFailed` is asked once the tree has been read: has the source failed?
template <class ReadFailed>
ProfileStatus ReadProfile(ProfileTree& tree, CProfileStream& stream, char* text, std::uint32_t size,
                          ProfileHeader* header, ReadFailed readFailed) {
    *text = 0;
    ProfileHeader own;
    if (!header)
        header = &own;
    *header = {};
    CProfileDecoder decoder(tree, stream);
    if (!decoder.ReadMagic())
        return ProfileStatus::NoMagic;
    if (!decoder.ReadHeader(*header) || !decoder.ReadTree(*header) ||
        readFailed(decoder.IsTreeCut()))
        return ProfileStatus::BadTree;
    // Not a part of it: a text that was cut loses tables without a word.
    if (header->m_textLength >= size)
        return ProfileStatus::Cut;
    return decoder.Decode(*header, text);
}

}  // namespace

std::uint32_t CMemoryProfileStream::Read(void* buffer, std::uint32_t bytes) {
    const auto got = static_cast<std::uint32_t>(std::min<std::size_t>(bytes, m_left));
    if (got != 0)
        std::memcpy(buffer, m_data, got);
    m_data += got;
    m_left -= got;
    return got;
}

ProfileStatus ReadProfileFile(ProfileTree& tree, HANDLE file, char* text, std::uint32_t size,
                              ProfileHeader* header) {
    CFileProfileStream stream(file);
    const ProfileStatus status = ReadProfile(tree, stream, text, size, header,
                                             [&stream](bool) { return stream.HasFailed(); });
    CloseHandle(file);
    return status;
}

ProfileStatus ReadProfileStream(ProfileTree& tree, CProfileStream& stream, char* text,
                                std::uint32_t size, ProfileHeader* header) {
    return ReadProfile(tree, stream, text, size, header, [](bool isCut) { return isCut; });
}
