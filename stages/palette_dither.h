// From the internal form to indices of a palette, by error diffusion.
//
// One read of a table gives the index for a colour: 256 cells for gray lines, 16 x 16 x 16 for
// colour. Lines are walked to and fro, so that errors don't drift to one side; what is left at the
// end of a line goes to the next one's first pixel, which lies below. Indices go out as bytes, or
// as bits where the output is bilevel: then the palette has two grays.
//
// Colour lines and a palette of nothing but grays go as gray: the errors of a hue that no entry has
// would never end.
//
// The palette in force is chosen by CPaletteStage, which derives from this one.
#pragma once

#include <memory>

#include "frame/palette_table.h"
#include "frame/stage_bases.h"
#include "platform/com.h"
#include "platform/log_palette.h"
#include "stages/palette_dither_kernels.h"

// As the attribute hands it out: 16-bit words 0 and 4096, and as many cells.
struct QLDitherLookup {
    std::uint16_t m_zero = 0;
    std::uint16_t m_size = kDitherCells;
    std::uint8_t m_cells[kDitherCells] = {};
};
static_assert(sizeof(QLDitherLookup) == 4100);

// The record is of a size of its own, and may be handed to whoever frees it in the platform's way.
struct FreeLogPalette {
    void operator()(LOGPALETTE* record) const { CoTaskMemFree(record); }
};

class CPaletteDitherStage : public CNewLineStage {
  public:
    explicit CPaletteDitherStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    // False when there was no memory for its tables.
    virtual bool IsComplete() const { return m_paletteTable && m_ditherPalette && m_lookup; }

    QLStatus OnBeforeOpen() override;
    QLStatus OnFormatChanged() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;

    // Makes the record anew that LogPalette gives; who holds the old one loses it.
    virtual QLStatus BuildLogPalette();
    // The palette in the platform's form; null until it was built. Owned by the stage.
    const LOGPALETTE* LogPalette() const { return m_logPalette.get(); }

  protected:
    void BuildDitherTables();

    // What lines are to become: indices or halftone. With any other type they pass.
    QLPixelType m_outType = QL_PIXEL_RGB16;
    std::unique_ptr<QLPaletteTable> m_paletteTable;   // in force
    std::unique_ptr<QLPaletteTable> m_ditherPalette;  // its entries, each at its index
    bool m_tablesStale = true;

  private:
    // What attributes hand out, made anew if it is stale.
    const QLPaletteTable* PaletteTable() const { return m_paletteTable.get(); }
    const QLPaletteTable* DitherPalette();
    const QLDitherLookup* Lookup();
    std::int32_t Aux() const { return 0; }

    void OnOutputType(std::int32_t type);
    void TakeOutputType();
    bool DithersGray() const;
    void CopyPalette();
    void BuildGrayTable();
    void BuildTwoGrays();
    void BuildColorTable();
    void FillEmptyCells(const std::int16_t* cells);
    QLStatus MakeCells();
    void WriteLines(const CQLLineBuffer& source, std::int32_t lines, std::uint8_t* target) override;

    std::unique_ptr<LOGPALETTE, FreeLogPalette> m_logPalette;
    bool m_serpentine = true;
    std::uint32_t m_directions = 2;  // of the lines of this image
    std::uint16_t m_noiseMask = 0;
    std::uint16_t m_noiseState = 0;
    std::unique_ptr<QLDitherLookup> m_lookup;
    QLPixelType m_lineType = QL_PIXEL_RGB16;  // m_outType as it was at open
    // Of an image, made at open.
    std::unique_ptr<std::int16_t[]> m_errorLine;
    std::int16_t m_carry[3] = {};
    std::unique_ptr<QLDitherCell[]> m_cells;      // what the kernels read
    bool m_gray = false;                          // lines are walked as gray ones
    std::unique_ptr<std::uint16_t[]> m_grayLine;  // of colour lines that are
    std::unique_ptr<std::uint8_t[]> m_indexLine;  // of bilevel output, before it is packed
};
