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
    // is read. A file that fails in the middle may leave what it has of the next line in `target`,
    // and nothing behind that.
    bool ReadLines(std::uint8_t* target, std::int32_t lines);
    // Why ReadLines failed: one line, to stand behind the file's name.
    const std::string& Error() const { return m_error; }

  protected:
    CPictureReader() = default;

    // Line `m_nextLine`; throws as Fail does.
    virtual void ReadLine(std::uint8_t* target) = 0;

    CPictureInfo m_info;
    std::int32_t m_nextLine = 0;

  private:
    std::string m_error;
};

// Opens a page of a picture file; 1 is the first, and the only one of all kinds but TIFF. Files are
// read line by line as far as their kind allows. Transparent pixels lie on white paper. Null with
// one line in `error`, to stand behind the file's name, when the picture can't be had.
std::unique_ptr<CPictureReader> OpenPicture(const std::string& path, std::string* error,
                                            int page = 1);
// Pages of a picture file: 1 for all kinds but TIFF, whose pages are looked for up to `most`. 0
// with a line in `error` for files that have none, or lead nowhere before that.
int CountPages(const std::string& path, int most, std::string* error);

// The kinds that are read, for people: "bitmap, PNG, ... or PNM".
std::string ReadableKinds();
