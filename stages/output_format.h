// Settles the data type of the result, and reduces colour lines to one sample a pixel when gray was
// asked for: green stands for gray, since the matrix before has made the channels equal.
#pragma once

#include "frame/output_type.h"
#include "frame/stage_bases.h"

class COutputFormatStage final : public CNewLineStage {
  public:
    explicit COutputFormatStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

    QLPixelType OutType() const { return m_outType; }

  private:
    bool WritesNewLines() const override;
    bool GoesOnAfterFailure() const override { return true; }
    void WriteLines(const CQLLineBuffer& source, std::int32_t lines, std::uint8_t* target) override;
    void SelectType();
    QLStatus SetOutType(QLPixelType type);

    QLPixelType m_outType = QL_PIXEL_RGB8;
    std::int32_t m_dataType = QL_OUTPUT_COLOR;
    bool m_highDepth = false;
};
