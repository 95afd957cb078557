// Anything as a bitmap file, to the reader of pictures and to the engine's own. Whatever the first
// one calls plain, the second one takes too, and both read the same rows.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "pictures/bitmap_reader.h"
#include "pictures/file_failure.h"
#include "stages/bmp_reader.h"

namespace {

// A file in memory, under a path that lasts as long as it.
class CMemoryFile {
  public:
    CMemoryFile(const std::uint8_t* data, std::size_t size) : m_fd(memfd_create("input", 0)) {
        Require(m_fd >= 0 && write(m_fd, data, size) == static_cast<ssize_t>(size));
    }
    ~CMemoryFile() { close(m_fd); }
    CMemoryFile(const CMemoryFile&) = delete;
    CMemoryFile& operator=(const CMemoryFile&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

  private:
    const int m_fd;
};

using Rows = std::vector<std::uint8_t>;

// All rows, in blocks of 1, 2, 3 and so on; the file has been found to hold them.
Rows ReadAll(CPictureReader& reader) {
    const std::size_t line = reader.LineBytes();
    Rows rows(line * static_cast<std::size_t>(reader.Info().m_height));
    std::int32_t left = reader.Info().m_height;
    std::uint8_t* target = rows.data();
    for (std::int32_t block = 1; left > 0; ++block) {
        const std::int32_t count = std::min(block, left);
        Require(reader.ReadLines(target, count));
        target += line * static_cast<std::size_t>(count);
        left -= count;
    }
    Require(!reader.ReadLines(target, 1));
    return rows;
}

void CheckPlain(const std::string& path, const CPictureInfo& info, const Rows& rows) {
    CBmpFileReader reader(path.c_str());
    Require(reader.Info().biWidth == info.m_width && reader.Height() == info.m_height);
    Rows other(rows.size());
    Require(reader.ReadRows(other.data(), 0, info.m_height));
    Require(other == rows);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const CMemoryFile file(data, size);
    const std::string path = file.Path();
    bool isPlain = false;
    std::string error;
    RunGuarded(&error, [&] {
        CBitmapReader reader{CInputFile(path)};
        const CPictureInfo& info = reader.Info();
        Require(info.m_width > 0 && info.m_height > 0);
        const Rows rows = ReadAll(reader);
        isPlain = info.m_isPlainBitmap;
        if (isPlain)
            CheckPlain(path, info, rows);
    });
    if (isPlain)
        return 0;
    try {
        CBmpFileReader reader(path.c_str());
        const std::int64_t bytes = reader.RowBytes() * reader.Height();
        Require(bytes > 0 && bytes <= static_cast<std::int64_t>(size));
        Rows rows(static_cast<std::size_t>(bytes));
        // False when the rows lie beyond the file's end.
        reader.ReadRows(rows.data(), 0, reader.Height());
    } catch (const std::runtime_error&) {
    }
    return 0;
}
