// The tail of the chain: publishes the header at open and each band of lines as it comes, through
// attributes. A band is valid while its announcement runs.
#pragma once

#include "frame/stage.h"
#include "stages/ql_bitmap.h"

// A sink that describes what it receives as a bitmap.
class CBitmapSinkStage : public CQLFilterStage {
  public:
    using CQLFilterStage::CQLFilterStage;

    // The layout that the sink asks of the stage before it.
    virtual std::uint32_t WantedLayout() const = 0;
    virtual CQLBitmap* Bitmap() = 0;
};

class CBandSinkStage final : public CBitmapSinkStage {
  public:
    explicit CBandSinkStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;
    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;
    std::uint32_t WantedLayout() const override { return QL_LAYOUT_BITMAP_ROWS; }
    CQLBitmap* Bitmap() override { return &m_bitmap; }

    void SetOn(bool on) { m_ready = on; }

  private:
    CQLBitmap m_bitmap;
    bool m_ready = false;
    QLRect m_bandRect;  // first line, 0, line behind the last, width
    CQLLineBuffer* m_band = nullptr;
};
