// A block of lines on its way through the chain.
#pragma once

#include <cstdint>
#include <memory>

#include "frame/image_format.h"

// m_lines x m_stride bytes of one format. The format is borrowed and has to outlive the buffer.
class CQLLineBuffer {
  public:
    explicit CQLLineBuffer(const QLImageFormat* format) : m_format(format) {}
    // On memory that belongs to somebody else: lines x the format's stride.
    CQLLineBuffer(const QLImageFormat* format, std::uint8_t* memory, std::int32_t lines)
        : m_format(format),
          m_data(memory),
          m_external(true),
          m_lines(lines),
          m_stride(format->m_bytesPerLine) {}
    CQLLineBuffer(const CQLLineBuffer&) = delete;
    CQLLineBuffer& operator=(const CQLLineBuffer&) = delete;

    // Makes room for `lines` lines of the format's present stride; keeps memory and contents when
    // the size is that already, else the lines hold 0xFF. False for a negative count, for external
    // memory and when there is no memory. `extraBytes` more, of any value, stand behind the last
    // line.
    bool Resize(std::int32_t lines, std::int32_t extraBytes = 0);

    // True when so many rows of `rowBytes` fit in as a block without gaps, in whatever stride the
    // buffer was made.
    bool HasRoom(std::int32_t lines, std::int32_t rowBytes) const;

    // The pixel at x, y, both clamped into the block. Null for a block without lines.
    std::uint8_t* PixelPointer(std::int32_t x, std::int32_t y) const;
    // The byte that holds the pixel.
    std::uint8_t* BytePointer(std::int32_t x, std::int32_t y) const;

    const QLImageFormat& Format() const { return *m_format; }
    std::uint8_t* Data() const { return m_data; }
    std::uint16_t* Samples() const { return reinterpret_cast<std::uint16_t*>(m_data); }
    std::int32_t Lines() const { return m_lines; }
    std::int32_t Stride() const { return m_stride; }

  private:
    std::uint8_t* LinePointer(std::int32_t y) const;

    const QLImageFormat* m_format;
    std::uint8_t* m_data = nullptr;
    bool m_external = false;
    std::int32_t m_lines = 0;
    std::int32_t m_stride = 0;
    std::unique_ptr<std::uint8_t[]> m_owned;
};
