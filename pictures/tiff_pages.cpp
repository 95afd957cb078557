#include "pictures/tiff_pages.h"

#include <array>
#include <cstddef>
#include <string>
#include <unordered_set>

#include "pictures/file_failure.h"

namespace {

// The file's numbers, in its own order of bytes. Files with 64-bit places have longer fields.
class CTiffNumbers {
  public:
    explicit CTiffNumbers(const CInputFile& file) : m_file(file) {
        std::array<char, 4> head = {};
        m_file.ReadAt(head.data(), head.size(), 0);
        m_isLittle = head[0] == 'I';
        m_isLong = (m_isLittle ? head[2] : head[3]) == '+';
    }

    // Throws beyond the end.
    std::uint64_t At(std::uint64_t place, unsigned bytes) const {
        const auto size = static_cast<std::uint64_t>(m_file.Size());
        if (place > size || size - place < bytes)
            Fail("is a damaged TIFF file: it ends early");
        std::array<std::uint8_t, 8> raw = {};
        m_file.ReadAt(raw.data(), bytes, static_cast<std::int64_t>(place));
        std::uint64_t value = 0;
        for (unsigned i = 0; i < bytes; ++i)
            value = value << 8 | raw[m_isLittle ? bytes - 1 - i : i];
        return value;
    }

    std::uint64_t FirstPage() const { return At(m_isLong ? 8 : 4, PlaceBytes()); }
    // Behind the entries of a directory.
    std::uint64_t NextPage(std::uint64_t directory) const {
        const unsigned countBytes = m_isLong ? 8 : 2;
        const std::uint64_t count = At(directory, countBytes) & 0xFFFF;
        return At(directory + countBytes + count * (m_isLong ? 20 : 12), PlaceBytes());
    }

  private:
    unsigned PlaceBytes() const { return m_isLong ? 8 : 4; }

    const CInputFile& m_file;
    bool m_isLittle = false;
    bool m_isLong = false;
};

}  // namespace

std::vector<std::uint64_t> FindTiffPages(const CInputFile& file, int most) {
    const CTiffNumbers numbers(file);
    std::vector<std::uint64_t> pages;
    std::unordered_set<std::uint64_t> known;
    for (std::uint64_t next = numbers.FirstPage(); next != 0; next = numbers.NextPage(next)) {
        if (pages.size() == static_cast<std::size_t>(most))
            return pages;
        if (pages.size() == static_cast<std::size_t>(kMostTiffPages))
            Fail("has more than " + std::to_string(kMostTiffPages) + " pages");
        if (!known.insert(next).second)
            Fail("is a damaged TIFF file: its pages follow each other in a circle");
        pages.push_back(next);
    }
    if (pages.empty())
        Fail("is a damaged TIFF file: it has no page");
    return pages;
}
