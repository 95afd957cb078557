// A picture as the stream that the engine is fed from: bitmap file headers, then bands of rows.
#pragma once

#include <vector>

#include "engine/input_stream.h"
#include "pictures/picture_reader.h"

// Holds one band and the lines that the engine leaves behind, whatever the height of the picture.
// The stream lives on its owner's stack: references to it are not counted.
class CPictureStream final : public CQLInputStream {
  public:
    // The reader is borrowed. Headers and palette stand in the stream at once.
    explicit CPictureStream(CPictureReader& reader);

    // Reads the next `lines` lines into the stream. False when the picture can't be read.
    bool AddBand(std::int32_t lines);
    std::int32_t LinesLeft() const { return m_linesLeft; }

    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT Read(void* target, ULONG bytes, ULONG* read) override;
    HRESULT Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }

  private:
    void WriteHeaders();
    // Room for `bytes` more bytes behind those that have not been read yet.
    std::uint8_t* Extend(std::size_t bytes);

    CPictureReader& m_reader;
    std::int32_t m_linesLeft;
    std::size_t m_stride;
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_begin = 0;  // of what has not been read
    std::size_t m_end = 0;
};
