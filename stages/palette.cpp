#include "stages/palette.h"

#include <algorithm>

#include "frame/output_type.h"
#include "frame/try_new.h"

std::span<const QLAttribRow> CPaletteStage::Rows() {
    using S = CPaletteStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_PALETTE_USER).Writes<&S::SetUserTable>(),
        R::Provides(QL_ATTR_PALETTE_KIND_A).Reads<&S::AdaptiveTable>(),
        R::Provides(QL_ATTR_PALETTE_KIND)
            .Reads<&S::m_paletteChoice>()
            .Writes<&S::SetKind>()
            .Range(0, QL_PALETTE_USER)
            .Fires(QL_ATTR_PALETTE_CHANGED),
        R::Provides(QL_ATTR_PALETTE_RECT).Points<&S::m_collectRect>().Writes<&S::SetCollectRect>(),
        R::Provides(QL_ATTR_PALETTE_REBUILD).OnFire<&S::Rebuild>(),
        R::Provides(QL_ATTR_PALETTE_CHANGED).OnFire<&S::MarkStale>(),
        R::Provides(QL_ATTR_PALETTE_COLLECT)
            .Writes<&S::RequestCollect>()
            .OnFire<&S::RequestCollect>(),
    };
    return rows;
}

CPaletteStage::CPaletteStage(QLAttribTree* tree)
    : CPaletteDitherStage(tree),
      m_adaptiveTable(TryNew<QLPaletteTable>()),
      m_userTable(TryNew<QLPaletteTable>()) {
    for (QLPaletteTable* table : {m_adaptiveTable.get(), m_userTable.get()}) {
        if (table)
            FillSystem(table);
    }
    AttachRows(this);
}

// ---- Attributes

void CPaletteStage::SetUserTable(const QLPaletteTable* table) {
    if (!table || !m_userTable)
        return;
    *m_userTable = *table;
    MakeSound(m_userTable.get());
}

// Whoever asks for a palette asks for indexed output.
void CPaletteStage::SetKind(std::int32_t kind) {
    m_paletteChoice = kind;
    if (GetInteger(QL_ATTR_OUTPUT_TYPE) != QL_OUTPUT_INDEXED)
        SetValue(QL_ATTR_OUTPUT_TYPE, QL_OUTPUT_INDEXED);
    BuildLogPalette();
}

void CPaletteStage::SetCollectRect(const QLRect* rect) {
    m_collectRect = rect ? *rect : QLRect{};
}

void CPaletteStage::Rebuild() {
    BuildLogPalette();
    BuildDitherTables();
    Notify(QL_ATTR_PALETTE_CHANGED);
}

// ---- The palette in force

bool CPaletteStage::SelectPalette() {
    if (!IsComplete())
        return false;
    switch (GetInteger(QL_ATTR_OUTPUT_TYPE)) {
        case QL_OUTPUT_LINE_ART:
        case QL_OUTPUT_HALFTONE:
            FillGrayRamp(m_paletteTable.get(), 2);
            return true;
        case QL_OUTPUT_GRAY:
            FillGrayRamp(m_paletteTable.get(), QLPaletteTable::kMaxEntries);
            return true;
        case QL_OUTPUT_INDEXED:
            SelectIndexed();
            return true;
        default:
            return false;
    }
}

void CPaletteStage::SelectIndexed() {
    switch (m_paletteChoice) {
        case QL_PALETTE_SYSTEM:
            FillSystem(m_paletteTable.get());
            break;
        case QL_PALETTE_CUBE:
            FillCube(m_paletteTable.get());
            break;
        case QL_PALETTE_ADAPTIVE:
            *m_paletteTable = *m_adaptiveTable;
            break;
        case QL_PALETTE_USER:
            *m_paletteTable = *m_userTable;
            break;
        default:
            break;
    }
}

QLStatus CPaletteStage::BuildLogPalette() {
    return SelectPalette() ? CPaletteDitherStage::BuildLogPalette() : QL_OK;
}

// ---- Passes

// Chosen anew for each image: one of gray lines takes the colours out of the palette in force.
QLStatus CPaletteStage::OnBeforeOpen() {
    const QLStatus status = CPaletteDitherStage::OnBeforeOpen();
    if (!m_bypass)
        SelectPalette();
    return status;
}

QLStatus CPaletteStage::OnAfterOpen() {
    m_collectLines = 0;
    m_cells.reset();
    if (Collects()) {
        m_cells = IsComplete() ? TryNew<CAdaptivePalette>() : nullptr;
        if (!m_cells)
            return QL_ERR_NO_MEMORY;
    }
    return CPaletteDitherStage::OnAfterOpen();
}

// Behind the read: lines as they come in, also when they go out as indices.
QLStatus CPaletteStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    const QLStatus status = CPaletteDitherStage::OnAfterRead(lines, buffer);
    if (status == QL_OK && Collects() && m_cells && buffer->Data())
        CollectCells(std::min(*lines, buffer->Lines()), buffer->Samples());
    return status;
}

void CPaletteStage::CollectCells(std::int32_t lines, const std::uint16_t* samples) {
    const std::int32_t width = m_inFormat.m_width;
    const QLRect& rect = m_collectRect;
    const bool all = rect.bottom <= rect.top || rect.right <= rect.left;
    const std::int32_t left = all ? 0 : std::clamp(rect.left, 0, width);
    const std::int32_t right = all ? width : std::clamp(rect.right, left, width);
    for (std::int32_t i = 0; i < lines; ++i, ++m_collectLines) {
        if (all || (m_collectLines >= rect.top && m_collectLines < rect.bottom)) {
            m_cells->Collect(samples + 3 * static_cast<std::size_t>(left),
                             static_cast<std::size_t>(right - left));
        }
        samples += 3 * static_cast<std::size_t>(width);
    }
}

QLStatus CPaletteStage::OnAfterClose() {
    if (Collects() && m_cells && m_collectLines == m_inFormat.m_height)
        TakeAdaptive();
    m_cells.reset();
    return CPaletteDitherStage::OnAfterClose();
}

void CPaletteStage::TakeAdaptive() {
    m_collectLines = 0;
    m_collectOn = false;
    const int entries = m_cells->Build(m_adaptiveTable.get());
    m_hasAdaptive = m_hasAdaptive || entries > 0;
    if (m_paletteChoice != QL_PALETTE_ADAPTIVE || entries == 0)
        return;
    *m_paletteTable = *m_adaptiveTable;
    BuildLogPalette();
    Notify(QL_ATTR_PALETTE_CHANGED);
}
