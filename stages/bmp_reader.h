// Readers of bitmap files at the head of a chain: from the engine's input stream, or from a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/types.h"

struct IStream;

// Both readers deliver rows without padding: biWidth x biBitCount / 8 bytes each.
class CBmpReader {
  public:
    CBmpReader(const CBmpReader&) = delete;
    CBmpReader& operator=(const CBmpReader&) = delete;

    // Gives up the reader's resource.
    virtual void Close() = 0;
    virtual bool Query() { return false; }
    virtual ~CBmpReader() = default;
    // `count` lines from `firstLine` on, in image order. False when they can't be had.
    virtual bool ReadRows(std::uint8_t* buffer, std::int32_t firstLine, std::int32_t count) = 0;
    // Of the lines that were last asked for, those that came: a stream may not have them all yet.
    std::int32_t RowsRead() const { return m_rowsRead; }

    // Bytes of a row in the file: padded to 4.
    std::int64_t Stride() const;
    // Bytes of a row as delivered.
    std::int64_t RowBytes() const;
    std::int32_t Height() const;
    bool IsBottomUp() const { return m_info.biHeight > 0; }
    std::int64_t ColorCount() const;
    // Where line `line` of the image begins in the file.
    std::int64_t RowOffset(std::int32_t line) const;
    // Dots per inch, 72 where the header tells none.
    std::int32_t XDpi() const { return Dpi(m_info.biXPelsPerMeter); }
    std::int32_t YDpi() const { return Dpi(m_info.biYPelsPerMeter); }
    const BITMAPINFOHEADER& Info() const { return m_info; }

  protected:
    CBmpReader() = default;

    // Bytes of `count` rows in the file; 0 when that is no size that one read can have.
    std::uint32_t BlockBytes(std::int32_t count) const;
    // Where a block of rows is to be read: `buffer` itself, or scratch when the rows are padded.
    // Null without memory.
    std::uint8_t* BlockTarget(std::uint8_t* buffer, std::int32_t count);
    // Brings a block that was read into the order and the place that ReadRows promises.
    void DeliverBlock(std::uint8_t* buffer, const std::uint8_t* block, std::int32_t count) const;

    std::int32_t m_rowsRead = 0;
    BITMAPFILEHEADER m_file = {};
    BITMAPINFOHEADER m_info = {};

  private:
    static std::int32_t Dpi(std::int32_t pelsPerMeter);

    std::unique_ptr<std::uint8_t[]> m_scratch;
    std::size_t m_scratchSize = 0;
};

// Text of the exception that both constructors throw (std::runtime_error).
inline constexpr char kBadBitmapText[] = "Bad BMP file (must be valid 24-bit BMP file).";

// A 24-bit bitmap file.
class CBmpFileReader final : public CBmpReader {
  public:
    explicit CBmpFileReader(const char* path);
    ~CBmpFileReader() override;

    void Close() override;
    bool ReadRows(std::uint8_t* buffer, std::int32_t firstLine, std::int32_t count) override;

  private:
    bool ReadHeaders();
    bool Validate() const;
    bool ReadExactly(void* target, std::uint32_t bytes);

    HANDLE m_hFile;
};

// A stream of bitmap file bytes, which is borrowed. Rows are read where the stream stands; a stream
// that holds fewer bytes than asked leaves the rest of the rows as they were. A row of which it
// held a part counts as read.
class CBmpStreamReader final : public CBmpReader {
  public:
    explicit CBmpStreamReader(IStream* stream);

    void Close() override {}
    bool ReadRows(std::uint8_t* buffer, std::int32_t firstLine, std::int32_t count) override;

  private:
    IStream* m_stream;
};
