// Picture files that tests make and look into.
#pragma once

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/bitmap_headers.h"

using Bytes = std::vector<std::uint8_t>;

// A folder of its own, gone with the object.
class CTempFolder {
  public:
    CTempFolder()
        : m_path(std::filesystem::temp_directory_path() /
                 ("nvq-tools-" + std::to_string(std::random_device()()))) {
        std::filesystem::create_directory(m_path);
    }
    ~CTempFolder() { std::filesystem::remove_all(m_path); }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    std::string operator/(const std::string& name) const { return m_path / name; }
    // What is in it, sorted.
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_path))
            names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }

  private:
    std::filesystem::path m_path;
};

inline void WriteBytes(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

inline Bytes ReadBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string ReadText(const std::string& path) {
    const Bytes bytes = ReadBytes(path);
    return {bytes.begin(), bytes.end()};
}

// The picture directories of a TIFF file, which are a chain.
inline int CountTiffPages(const std::string& path) {
    const Bytes bytes = ReadBytes(path);
    std::uint32_t at = 0;
    std::memcpy(&at, &bytes.at(4), sizeof(at));
    int pages = 0;
    for (; at != 0; ++pages) {
        std::uint16_t entries = 0;
        std::memcpy(&entries, &bytes.at(at), sizeof(entries));
        std::memcpy(&at, &bytes.at(at + 2 + 12u * entries), sizeof(at));
    }
    return pages;
}

// The pages of a PDF file whose objects stand in the open.
inline int CountPdfPages(const std::string& path) {
    const std::string text = ReadText(path);
    const std::string page = "/Type /Page";
    int pages = 0;
    for (std::size_t at = text.find(page); at < text.size(); at = text.find(page, at + 1))
        pages += text[at + page.size()] != 's' ? 1 : 0;
    return pages;
}

// The parts of a bitmap file, to be spoiled one by one.
struct CBitmapFile {
    BITMAPFILEHEADER m_file = {};
    BITMAPINFOHEADER m_info = {};
    Bytes m_gap;  // between the info header and the palette: what longer headers hold
    std::vector<RGBQUAD> m_palette;
    Bytes m_rows;  // as in the file

    // Rows of `bits` bits a pixel, all bytes 0, with headers that fit; a negative height is
    // top-down.
    static CBitmapFile Make(std::int32_t width, std::int32_t height, std::uint16_t bits) {
        CBitmapFile bitmap;
        bitmap.m_info = MakeInfoHeader(width, height, bits);
        bitmap.m_info.biSizeImage = bitmap.m_info.biClrUsed = 0;  // which a header may leave out
        bitmap.m_palette.resize(FullColorCount(bits));
        FillGrayRamp(bitmap.m_palette);
        bitmap.m_rows.resize(bitmap.Stride() * static_cast<std::size_t>(std::abs(height)));
        bitmap.Settle();
        return bitmap;
    }

    std::size_t Stride() const { return static_cast<std::size_t>(BitmapStride(m_info)); }
    // The first byte of image line `line`, counted from the top.
    std::uint8_t* Line(std::int32_t line) {
        const std::int32_t row = m_info.biHeight > 0 ? m_info.biHeight - 1 - line : line;
        return m_rows.data() + Stride() * static_cast<std::size_t>(row);
    }
    // Makes the places and sizes in the headers true.
    void Settle() {
        m_file.bfType = BITMAP_FILE_TYPE;
        m_file.bfOffBits = static_cast<DWORD>(sizeof(m_file) + sizeof(m_info) + m_gap.size() +
                                              m_palette.size() * sizeof(RGBQUAD));
        m_file.bfSize = static_cast<DWORD>(m_file.bfOffBits + m_rows.size());
    }
    Bytes All() const {
        Bytes bytes;
        const auto add = [&bytes](const void* data, std::size_t size) {
            const auto* first = static_cast<const std::uint8_t*>(data);
            bytes.insert(bytes.end(), first, first + size);
        };
        add(&m_file, sizeof(m_file));
        add(&m_info, sizeof(m_info));
        add(m_gap.data(), m_gap.size());
        add(m_palette.data(), m_palette.size() * sizeof(RGBQUAD));
        add(m_rows.data(), m_rows.size());
        return bytes;
    }
};

// A sample of the test pictures: no two neighbours alike, in any direction.
inline std::uint8_t TestSample(std::int32_t x, std::int32_t line, int channel) {
    return static_cast<std::uint8_t>(37 * x + 101 * line + 83 * channel + x * line % 7);
}

// A 24-bit or 8-bit bitmap of test samples.
inline CBitmapFile TestBitmap(std::int32_t width, std::int32_t height, std::uint16_t bits) {
    CBitmapFile bitmap = CBitmapFile::Make(width, height, bits);
    const int channels = bits / 8;
    for (std::int32_t line = 0; line < std::abs(height); ++line) {
        for (std::int32_t i = 0; i < width * channels; ++i)
            bitmap.Line(line)[i] = TestSample(i / channels, line, i % channels);
    }
    return bitmap;
}
