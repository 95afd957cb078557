// Inverts lines and the palette.
#pragma once

#include "frame/palette_table.h"
#include "frame/stage_bases.h"

class CInvertStage final : public CInPlaceStage {
  public:
    explicit CInvertStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus TransformColor(QLColorQuery* query) override;

  private:
    void SetInvert(bool on);
    void InvertPalette();
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) override;

    bool m_invert = false;
    bool m_polarity = true;  // false turns the sense of m_invert round
    QLPaletteTable m_invertedPalette;
};
