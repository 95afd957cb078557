// Chooses the palette of indexed and of dithered output: two that are fixed, one from the caller,
// and one made from the image itself.
//
// The image's own palette takes two passes: one that collects, asked for by QL_ATTR_PALETTE_COLLECT
// before it, and the next one, which uses it. A pass that ends early, or brings gray lines, makes
// none, and the request stands until another pass serves it.
#pragma once

#include "stages/adaptive_palette.h"
#include "stages/palette_dither.h"

class CPaletteStage final : public CPaletteDitherStage {
  public:
    explicit CPaletteStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    bool IsComplete() const override {
        return m_adaptiveTable && m_userTable && CPaletteDitherStage::IsComplete();
    }
    bool HasRequest() const { return m_collectOn; }
    void DropRequest() { m_collectOn = false; }
    // Whether a pass has made a palette of its image's own colours.
    bool HasAdaptive() const { return m_hasAdaptive; }

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;
    QLStatus OnAfterClose() override;
    // Puts the palette in force that is chosen, and then makes the record of it.
    QLStatus BuildLogPalette() override;

  private:
    const QLPaletteTable* AdaptiveTable() const { return m_adaptiveTable.get(); }
    void SetUserTable(const QLPaletteTable* table);
    void SetKind(std::int32_t kind);
    void SetCollectRect(const QLRect* rect);
    void RequestCollect() { m_collectOn = true; }
    void MarkStale() { m_tablesStale = true; }
    void Rebuild();

    // False for a type of output that has no palette.
    bool SelectPalette();
    void SelectIndexed();
    bool Collects() const { return m_collectOn && m_inFormat.IsInternalColor(); }
    void CollectCells(std::int32_t lines, const std::uint16_t* samples);
    void TakeAdaptive();

    std::int32_t m_paletteChoice = QL_PALETTE_SYSTEM;
    std::unique_ptr<QLPaletteTable> m_adaptiveTable;
    std::unique_ptr<QLPaletteTable> m_userTable;
    std::unique_ptr<CAdaptivePalette> m_cells;  // of a pass that collects
    QLRect m_collectRect;  // its ends lie behind the last line and column; empty for all pixels
    std::int32_t m_collectLines = 0;
    bool m_collectOn = false;
    bool m_hasAdaptive = false;
};
