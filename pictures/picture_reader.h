// Pictures from files, line by line: what nvqscan lays on the scanner's glass.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct CPictureInfo {
    std::int32_t m_width = 0;          // pixels
    std::int32_t m_height = 0;         // lines
    std::int32_t m_bitsPerPixel = 0;   // 24: blue, green, red; 8: gray, 0 is black
    std::int32_t m_xPelsPerMeter = 0;  // 0 when the file names no resolution
    std::int32_t m_yPelsPerMeter = 0;
    // A bitmap file of the plain kind that the engine's own file reader takes: 24 bits behind a
    // header of 40 bytes.
    bool m_isPlainBitmap = false;
};

class CPictureReader {
  public:
    virtual ~CPictureReader() = default;
    CPictureReader(const CPictureReader&) = delete;
    CPictureReader& operator=(const CPictureReader&) = delete;

    const CPictureInfo& Info() const { return m_info; }
    // Bytes of a line as delivered: no padding.
    std::size_t LineBytes() const;

    // Reads the next `lines` lines, top line first. More lines than are left are refused before any
    // is read; a file that fails in the middle leaves the rest of `target` as it was.
    virtual bool ReadLines(std::uint8_t* target, std::int32_t lines) = 0;
    // Why ReadLines failed: one line, to stand behind the file's name.
    const std::string& Error() const { return m_error; }

  protected:
    CPictureReader() = default;

    // True when `lines` lines can still be read.
    bool AreLeft(std::int32_t lines);

    CPictureInfo m_info;
    std::int32_t m_nextLine = 0;
    std::string m_error;
};

// Opens a picture. Bitmap files are streamed, whatever their height; other kinds are decoded whole,
// with transparent pixels on white paper. Null with one line in `error`, to stand behind the file's
// name, when the picture can't be had.
std::unique_ptr<CPictureReader> OpenPicture(const std::string& path, std::string* error);
