// What all writers of pictures have in common: the order of the calls, and bands of whole rows made
// from runs of bytes.
#pragma once

#include <array>
#include <vector>

#include "pictures/bitmap_layout.h"
#include "pictures/pending_file.h"
#include "pictures/picture_writer.h"

class CBandWriter : public CPictureWriter {
  public:
    CBandWriter(const std::string& path, EFileKind kind, const CPictureOptions& options)
        : m_file(path), m_options(options), m_kind(kind) {}

    bool Begin(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) final;
    bool Write(const std::uint8_t* bytes, std::size_t length) final;
    bool EndPage() final;
    bool DropPage() final;
    bool Finish() final;

  protected:
    // The parts of a file, Start to Complete for each page; failures are thrown as Fail throws
    // them.
    virtual void Start() = 0;
    // `count` rows that begin with line `m_line` of the image, top line first; they may be changed.
    virtual void StoreBand(std::uint8_t* rows, std::int32_t count) = 0;
    virtual void Complete() = 0;
    // The page under way won't be, perhaps because storing it failed: what is in the file of it
    // goes. Only called with whole pages before it.
    virtual void Drop() {}
    virtual void CompletePages() {}
    // Bytes are only appended to the file.
    virtual bool WritesForward() const { return false; }

    std::span<const RGBQUAD> Palette() const { return {m_palette.data(), m_info.biClrUsed}; }
    std::size_t Stride() const { return m_stride; }
    std::int32_t BandLines() const { return static_cast<std::int32_t>(m_band.size() / m_stride); }
    std::int64_t ImageBytes() const {
        return static_cast<std::int64_t>(m_stride) * m_info.biHeight;
    }

    CPendingFile m_file;
    const CPictureOptions m_options;
    BITMAPINFOHEADER m_info = {};  // biClrUsed is the true number of colours
    std::int32_t m_line = 0;
    int m_page = 0;  // counted from 0

  private:
    // Fresh also stands between two pages. Broken: a page failed that has whole ones before it;
    // Ending: only Finish is left.
    enum class EState { Fresh, Begun, Broken, Ending, Done };

    // Every operation of the interface goes through it.
    template <typename TAction>
    bool Try(EState expected, TAction action);
    void CheckHeader(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) const;
    void TakeHeader(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette);
    void Feed(const std::uint8_t* bytes, std::int64_t length);
    void CompletePage();

    const EFileKind m_kind;
    EState m_state = EState::Fresh;
    std::array<RGBQUAD, kMaxBitmapColors> m_palette = {};
    std::uint8_t m_whiteByte = 0xFF;  // of rows
    std::size_t m_stride = 0;
    // Whole rows, the last of which may still be under way.
    std::vector<std::uint8_t> m_band;
    std::size_t m_filled = 0;
    std::int64_t m_bytesLeft = 0;
};
