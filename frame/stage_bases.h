// The bases that do the frame's work for a stage: one for lines of the same size, one for lines of
// another. A leaf is called with whole lines only, never for an empty pull, without a buffer, or
// when the stage steps aside.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/stage.h"

// Works on lines where they lie.
class CInPlaceStage : public CQLFilterStage {
  public:
    using CQLFilterStage::CQLFilterStage;

    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) final;

  protected:
    // A block of lines without gaps, on m_outFormat: `count` pixels (width x lines), each of
    // m_outFormat.m_samplesPerPixel samples on the internal form.
    virtual QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) = 0;
    // Bytes of the lines that make up a block, for leaves that work on what their format makes of
    // it: on forms other than the internal one, pixels need not fill bytes.
    std::size_t BlockBytes(std::size_t count) const;
};

// Pulls lines into a buffer of its own and writes new ones, of another size, to the buffer that it
// was given. Its memory is gone at the end of the image.
class CNewLineStage : public CQLFilterStage {
  public:
    explicit CNewLineStage(QLAttribTree* tree) : CQLFilterStage(tree), m_inLines(&m_inFormat) {}

    // A negative count and lines that don't fit the buffer are bad arguments. Without a buffer the
    // lines are lost.
    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override;
    QLStatus OnAfterClose() override;

  protected:
    // False when lines of this run pass as they are, straight to the caller's buffer.
    virtual bool WritesNewLines() const { return IsActive(); }
    // True when lines that a failing pull left behind are written all the same.
    virtual bool GoesOnAfterFailure() const { return false; }
    // Bytes of a row as WriteLines writes it.
    virtual std::int32_t RowBytes() const { return m_outFormat.m_bytesPerLine; }
    // `lines` input lines on m_inFormat, one behind the other, to rows of m_outFormat at `target`.
    virtual void WriteLines(const CQLLineBuffer& source, std::int32_t lines,
                            std::uint8_t* target) = 0;

  private:
    CQLLineBuffer m_inLines;
};
