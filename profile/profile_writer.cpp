#include "profile/profile_writer.h"

#include <array>
#include <functional>
#include <queue>
#include <utility>

#include "profile/profile_container.h"

namespace {

constexpr std::uint32_t kBytes = 256;

// The code of a text's bytes, after Huffman: the rarer a byte, the longer its code, and no other
// code of whole bits makes the text shorter.
class CHuffmanCode {
  public:
    explicit CHuffmanCode(std::string_view text) {
        std::array<std::uint64_t, kBytes> counts{};
        for (const char c : text)
            ++counts[static_cast<std::uint8_t>(c)];
        for (std::uint32_t byte = 0; byte < kBytes; ++byte) {
            if (counts[byte] != 0)
                m_leaves.push_back(byte);
        }
        Join(counts);
        if (!m_inner.empty())
            Spell(Root(), {});
    }

    // Without bytes there is no tree, and the root is such that no node is counted.
    std::uint32_t Root() const {
        return m_inner.empty() ? kFirstInnerNode - 1
                               : kFirstInnerNode + static_cast<std::uint32_t>(m_inner.size()) - 1;
    }
    const std::vector<std::uint32_t>& Leaves() const { return m_leaves; }
    const std::vector<ProfileNode>& Inner() const { return m_inner; }
    const std::vector<bool>& CodeOf(char c) const { return m_codes[static_cast<std::uint8_t>(c)]; }

  private:
    // Joins the two rarest nodes until one is left; of equals the lower numbers, so that the result
    // is always the same.
    void Join(const std::array<std::uint64_t, kBytes>& counts) {
        using Entry = std::pair<std::uint64_t, std::uint32_t>;  // count, node
        std::priority_queue<Entry, std::vector<Entry>, std::greater<>> open;
        for (const std::uint32_t leaf : m_leaves)
            open.emplace(counts[leaf], leaf);
        // A reader takes a bit for every byte, so that a leaf alone needs a node above it.
        if (open.size() == 1)
            m_inner.push_back({{m_leaves[0], m_leaves[0]}});
        while (open.size() > 1) {
            const Entry first = open.top();
            open.pop();
            const Entry second = open.top();
            open.pop();
            m_inner.push_back({{first.second, second.second}});
            open.emplace(first.first + second.first, Root());
        }
    }

    // The code of each leaf: the way down to it, a bit for every step. As deep as the tree, which
    // is at most 255 steps.
    void Spell(std::uint32_t node, const std::vector<bool>& code) {
        if (node < kFirstInnerNode) {
            m_codes[node] = code;
            return;
        }
        for (const bool bit : {true, false}) {
            std::vector<bool> longer = code;
            longer.push_back(bit);
            Spell(m_inner[node - kFirstInnerNode].m_child[bit ? 1 : 0], longer);
        }
    }

    std::vector<std::uint32_t> m_leaves;
    std::vector<ProfileNode> m_inner;  // from node 256 on
    std::array<std::vector<bool>, kBytes> m_codes;
};

// Numbers stand with their low byte first, on whatever machine.
void PutNumber(std::vector<std::uint8_t>& out, std::uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<std::uint8_t>(number >> shift));
}

void PutNode(std::vector<std::uint8_t>& out, std::uint32_t number, const ProfileNode& node) {
    PutNumber(out, number);
    PutNumber(out, node.m_child[0]);
    PutNumber(out, node.m_child[1]);
}

// Bits fill a byte from its highest on; what is left of the last one is 0.
void PutCodes(std::vector<std::uint8_t>& out, const CHuffmanCode& code, std::string_view text) {
    std::uint8_t byte = 0;
    int used = 0;
    for (const char c : text) {
        for (const bool bit : code.CodeOf(c)) {
            byte = static_cast<std::uint8_t>(byte << 1 | (bit ? 1 : 0));
            if (++used == 8) {
                out.push_back(byte);
                used = 0;
            }
        }
    }
    if (used != 0)
        out.push_back(static_cast<std::uint8_t>(byte << (8 - used)));
}

}  // namespace

std::vector<std::uint8_t> PackProfile(std::string_view text) {
    const CHuffmanCode code(text);
    std::vector<std::uint8_t> out(std::begin(kProfileMagic), std::end(kProfileMagic));
    PutNumber(out, code.Root());
    PutNumber(out, static_cast<std::uint32_t>(code.Leaves().size()));
    PutNumber(out, static_cast<std::uint32_t>(text.size()));
    for (const std::uint32_t leaf : code.Leaves())
        PutNode(out, leaf, {{kProfileLeaf, kProfileLeaf}});
    std::uint32_t number = kFirstInnerNode;
    for (const ProfileNode& node : code.Inner())
        PutNode(out, number++, node);
    PutCodes(out, code, text);
    return out;
}
