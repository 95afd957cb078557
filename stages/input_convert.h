// From the source's line format to the internal form: 16-bit samples, red first.
#pragma once

#include <memory>

#include "frame/lut.h"
#include "frame/stage_bases.h"

// Converts every pixel type of the table in input_convert.cpp. An 8-bit sample s becomes s << 8, so
// 255 becomes 65280; gamma-encoded samples go through the decoding table.
class CInputConvertStage : public CNewLineStage {
  public:
    explicit CInputConvertStage(QLAttribTree* tree);

    QLStatus OnFormatChanged() override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

  protected:
    // m_outFormat as the internal form of m_inFormat.
    void TakeInternalFormat();
    // True for pixel types whose samples are gamma-encoded.
    bool InputIsEncoded() const;
    // The encoding that is taken for given: gamma 2.2, its slope held at 4 near black.
    static void BuildGammaEncoding(CQLLut* curve);
    // Makes m_decodeLut where it is missing.
    QLStatus NeedDecodeLut();
    // Called when m_decodeLut holds its curve.
    void TakeDecodeCurve();

    std::unique_ptr<CQLLut> m_decodeLut;  // undoes the gamma encoding

  private:
    void WriteLines(const CQLLineBuffer& source, std::int32_t lines, std::uint8_t* target) override;

    // The 256 entries of m_decodeLut that 8-bit samples reach, side by side.
    std::uint16_t m_decode[256] = {};
};
