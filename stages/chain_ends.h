// The stages at the seams of the chain: decoding at its head, the data type and the inversion of
// the result, and the sink.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>

#include "frame/palette_table.h"
#include "frame/stage.h"
#include "platform/types.h"
#include "stages/input_convert.h"

// Input conversion for sources that deliver gamma-encoded 8-bit samples: it decodes sRGB when the
// profile says that the source delivers it, else gamma 2.2 with its slope held near black.
class CEncodedInputStage final : public CInputConvertStage {
  public:
    explicit CEncodedInputStage(QLAttribTree* tree);

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

  private:
    std::unique_ptr<CQLLut> m_curve;    // the encoding
    std::optional<bool> m_curveIsSrgb;  // which encoding m_curve was built for; empty before
};

// Values of QL_ATTR_OUTPUT_TYPE, the data type of the result.
enum QLOutputType : std::int32_t {
    QL_OUTPUT_LINE_ART = 0,
    QL_OUTPUT_HALFTONE = 1,
    QL_OUTPUT_GRAY = 2,
    QL_OUTPUT_COLOR = 3,
    QL_OUTPUT_INDEXED = 4,
};

// Settles the data type of the result, and reduces colour lines to one sample a pixel when gray was
// asked for: green stands for gray, since the matrix before has made the channels equal.
class COutputFormatStage final : public CQLFilterStage {
  public:
    explicit COutputFormatStage(QLAttribTree* tree);

    std::uint64_t GetAttrib(std::int32_t id) override;
    void SetAttrib(std::int32_t id, std::uint64_t value) override;
    void OnAttribNotify(std::int32_t id) override;
    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;
    bool IsActive() const override { return ReducesToGray(); }

    std::uint32_t OutType() const { return m_outType; }

  private:
    bool ReducesToGray() const;
    void SelectType();
    QLStatus SetOutType(std::uint32_t type);

    std::uint32_t m_outType = QL_PIXEL_RGB8;
    std::int32_t m_dataType = QL_OUTPUT_COLOR;
    bool m_highDepth = false;
    CQLLineBuffer m_lineBuffer;
};

// Inverts lines and the palette.
class CInvertStage final : public CQLFilterStage {
  public:
    explicit CInvertStage(QLAttribTree* tree);

    std::uint64_t GetAttrib(std::int32_t id) override;
    void SetAttrib(std::int32_t id, std::uint64_t value) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;
    QLStatus TransformColor(QLColorQuery* query) override;

  private:
    void InvertPalette();

    bool m_invert = false;
    bool m_polarity = true;  // false turns the sense of m_invert round
    QLPaletteTable m_invertedPalette;
};

// Header and colour table of a device-independent bitmap.
class CQLBitmap {
  public:
    // Describes an image of this format.
    void Build(const QLImageFormat& format);

    BITMAPINFOHEADER& Header() { return m_header; }
    const BITMAPINFOHEADER& Header() const { return m_header; }
    std::span<const RGBQUAD> ColorTable() const { return {m_colors.data(), m_colorCount}; }

  private:
    void FillColors(const QLPaletteTable* palette);

    BITMAPINFOHEADER m_header = {};
    std::array<RGBQUAD, 256> m_colors = {};
    std::size_t m_colorCount = 0;
};

// A sink that describes what it receives as a bitmap.
class CBitmapSinkStage : public CQLFilterStage {
  public:
    using CQLFilterStage::CQLFilterStage;

    // The layout that the sink asks of the stage before it.
    virtual std::uint32_t WantedLayout() const = 0;
    virtual CQLBitmap* Bitmap() = 0;
};

// The tail of the chain: publishes the header at open and each band of lines as it comes, through
// attributes. A band is valid while its announcement runs.
class CBandSinkStage final : public CBitmapSinkStage {
  public:
    explicit CBandSinkStage(QLAttribTree* tree);

    std::uint64_t GetAttrib(std::int32_t id) override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;
    std::uint32_t WantedLayout() const override { return QL_LAYOUT_BITMAP_ROWS; }
    CQLBitmap* Bitmap() override { return &m_bitmap; }
    bool IsActive() const override { return m_ready; }

    void SetOn(bool on) { m_ready = on; }

  private:
    CQLBitmap m_bitmap;
    bool m_ready = false;
    QLRect m_bandRect;  // first line, 0, end line, width
    CQLLineBuffer* m_band = nullptr;
};
