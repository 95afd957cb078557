#include "stages/palette_dither.h"

#include <algorithm>
#include <utility>

#include "frame/output_type.h"
#include "frame/try_new.h"

namespace {

using Entry = QLPaletteTable::Entry;

constexpr WORD kLogPaletteVersion = 0x300;
constexpr std::uint16_t kFirstNoise = 12354;
constexpr int kGrayCells = 256;
constexpr int kSide = 16;  // of the cells of colour
constexpr std::int16_t kEmpty = -1;

// Steps from an entry's own cell, nearest first by and large; each stands for up to eight cells,
// by the signs of its parts. What is farther than the last is searched for.
struct Offset {
    std::int8_t red;
    std::int8_t green;
    std::int8_t blue;
};
// clang-format off
constexpr Offset kOffsets[] = {
    {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}, {1, 0, 1}, {0, 1, 1}, {1, 1, 1},
    {2, 0, 0}, {0, 2, 0}, {0, 0, 2}, {2, 1, 0}, {1, 2, 0}, {2, 0, 1}, {2, 1, 1}, {1, 2, 1},
    {0, 2, 1}, {1, 0, 2}, {1, 1, 2}, {0, 1, 2}, {2, 2, 0}, {2, 2, 1}, {2, 0, 2}, {2, 1, 2},
    {1, 2, 2}, {0, 2, 2}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}, {3, 1, 0}, {1, 3, 0}, {3, 0, 1},
    {3, 1, 1}, {1, 3, 1}, {0, 3, 1}, {2, 2, 2}, {1, 0, 3}, {1, 1, 3}, {0, 1, 3}, {3, 2, 0},
    {2, 3, 0}, {3, 2, 1}, {2, 3, 1}, {3, 0, 2}, {3, 1, 2}, {1, 3, 2}, {0, 3, 2}, {2, 0, 3},
    {2, 1, 3}, {1, 2, 3}, {0, 2, 3}, {4, 0, 0}, {0, 4, 0}, {3, 2, 2}, {2, 3, 2}, {2, 2, 3},
    {0, 0, 4}, {4, 1, 0}, {3, 3, 0}, {1, 4, 0}, {4, 0, 1}, {4, 1, 1}, {3, 3, 1}, {1, 4, 1},
    {0, 4, 1}, {3, 0, 3}, {3, 1, 3}, {1, 3, 3}, {0, 3, 3}, {1, 0, 4}, {1, 1, 4}, {0, 1, 4},
    {4, 2, 0}, {2, 4, 0}, {4, 2, 1}, {2, 4, 1}, {4, 0, 2}, {4, 1, 2}, {3, 3, 2}, {1, 4, 2},
    {0, 4, 2}, {3, 2, 3}, {2, 3, 3}, {2, 0, 4}, {2, 1, 4}, {1, 2, 4}, {0, 2, 4}, {4, 2, 2},
    {2, 4, 2}, {2, 2, 4}, {5, 0, 0}, {4, 3, 0}, {3, 4, 0}, {0, 5, 0}, {4, 3, 1}, {3, 4, 1},
    {4, 0, 3}, {4, 1, 3}, {3, 3, 3}, {1, 4, 3},
};
// clang-format on

// By the number of the type of output.
constexpr QLPixelType kOutTypes[kOutputTypes] = {QL_PIXEL_BILEVEL, QL_PIXEL_HALFTONE,
                                                 QL_PIXEL_GRAY16, QL_PIXEL_RGB16, QL_PIXEL_INDEX8};

bool IsGray(const Entry& entry) {
    return entry.m_colors[0] == entry.m_colors[1] && entry.m_colors[1] == entry.m_colors[2];
}

// Indices stay where they are: only colours have an order.
void SwapColors(Entry& a, Entry& b) {
    std::swap(a.m_colors, b.m_colors);
}

int Square(int x) {
    return x * x;
}

// Cells of colour while they fill.
struct ColorCells {
    std::int16_t m_entries[kDitherCells];
    int m_filled = 0;

    ColorCells() { std::fill(std::begin(m_entries), std::end(m_entries), kEmpty); }
    bool IsFull() const { return m_filled == kDitherCells; }
    // The first to come has the cell; there is nothing outside the cube.
    void Offer(int red, int green, int blue, int entry) {
        if (std::min({red, green, blue}) < 0 || std::max({red, green, blue}) >= kSide)
            return;
        std::int16_t& cell = m_entries[(red * kSide + green) * kSide + blue];
        m_filled += cell == kEmpty;
        cell = cell == kEmpty ? static_cast<std::int16_t>(entry) : cell;
    }
};

}  // namespace

std::span<const QLAttribRow> CPaletteDitherStage::Rows() {
    using S = CPaletteDitherStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        // Noise on the choice of entries: a mask over the bits of the generator, 0 for none.
        R::Provides(QL_ATTR_PALETTE_MODE).Keeps<&S::m_noiseMask>().Range(0, 0xFFFF),
        R::Provides(QL_ATTR_PALETTE_FLAG).Keeps<&S::m_serpentine>(),
        R::Provides(QL_ATTR_PALETTE_TABLE_A).Reads<&S::PaletteTable>(),
        R::Provides(QL_ATTR_PALETTE_TABLE_C).Reads<&S::Lookup>(),
        R::Provides(QL_ATTR_PALETTE_TABLE_B).Reads<&S::DitherPalette>(),
        R::Provides(QL_ATTR_PALETTE_AUX).Reads<&S::Aux>(),
        R::Follows(QL_ATTR_OUTPUT_TYPE).Writes<&S::OnOutputType>(),
    };
    return rows;
}

CPaletteDitherStage::CPaletteDitherStage(QLAttribTree* tree)
    : CNewLineStage(tree),
      m_paletteTable(TryNew<QLPaletteTable>()),
      m_ditherPalette(TryNew<QLPaletteTable>()),
      m_lookup(TryNew<QLDitherLookup>()) {
    if (m_paletteTable)
        FillSystem(m_paletteTable.get());
    AttachRows(this);
}

// ---- Attributes

void CPaletteDitherStage::OnOutputType(std::int32_t type) {
    if (type >= 0 && type < kOutputTypes)
        m_outType = kOutTypes[type];
}

const QLPaletteTable* CPaletteDitherStage::DitherPalette() {
    if (m_tablesStale)
        BuildDitherTables();
    return m_ditherPalette.get();
}

const QLDitherLookup* CPaletteDitherStage::Lookup() {
    DitherPalette();
    return m_lookup.get();
}

QLStatus CPaletteDitherStage::BuildLogPalette() {
    m_logPalette.reset();
    if (!m_paletteTable)
        return QL_ERR_NO_MEMORY;
    const std::size_t count = m_paletteTable->m_count;
    // The record ends with one entry; an empty palette has it all the same.
    m_logPalette.reset(static_cast<LOGPALETTE*>(
        CoTaskMemAlloc(sizeof(LOGPALETTE) + count * sizeof(PALETTEENTRY))));
    if (!m_logPalette)
        return QL_ERR_NO_MEMORY;
    m_logPalette->palVersion = kLogPaletteVersion;
    m_logPalette->palNumEntries = static_cast<WORD>(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint16_t* rgb = m_paletteTable->m_entries[i].m_colors;
        m_logPalette->palPalEntry[i] = {static_cast<BYTE>(rgb[0]), static_cast<BYTE>(rgb[1]),
                                        static_cast<BYTE>(rgb[2]), 0};
    }
    return QL_OK;
}

// ---- Tables

void CPaletteDitherStage::CopyPalette() {
    InitIdentity(m_ditherPalette.get());
    m_ditherPalette->m_count = m_paletteTable->m_count;
    for (int i = 0; i < m_paletteTable->m_count; ++i) {
        const Entry& entry = m_paletteTable->m_entries[i];
        m_ditherPalette->m_entries[entry.m_index] = entry;
    }
}

bool CPaletteDitherStage::DithersGray() const {
    const Entry* entries = m_paletteTable->m_entries;
    return m_inFormat.m_samplesPerPixel == 1 ||
           (m_paletteTable->m_count > 0 &&
            std::all_of(entries, entries + m_paletteTable->m_count, IsGray));
}

void CPaletteDitherStage::BuildDitherTables() {
    if (!CPaletteDitherStage::IsComplete())
        return;
    m_tablesStale = false;
    if (DithersGray())
        BuildGrayTable();
    else
        BuildColorTable();
}

// The threshold divides black from white; how many pixels become which is the errors' work. The
// darker entry is the one for dark pixels, wherever it stands.
void CPaletteDitherStage::BuildTwoGrays() {
    const Entry* dark = m_paletteTable->m_entries;
    const Entry* light = dark + 1;
    if (light->m_colors[0] < dark->m_colors[0])
        std::swap(dark, light);
    const std::int32_t divide = std::clamp(GetInteger(QL_ATTR_THRESHOLD) >> 8, 0, kGrayCells);
    std::fill_n(m_lookup->m_cells, divide, static_cast<std::uint8_t>(dark->m_index));
    std::fill(m_lookup->m_cells + divide, m_lookup->m_cells + kGrayCells,
              static_cast<std::uint8_t>(light->m_index));
}

// Gray lines have no use for colours, unless there is nothing else.
void CPaletteDitherStage::BuildGrayTable() {
    QLPaletteTable& table = *m_paletteTable;
    if (table.m_count == 2) {
        BuildTwoGrays();
        CopyPalette();
        return;
    }
    std::uint16_t grays = 0;
    for (int i = 0; i < table.m_count; ++i) {
        if (IsGray(table.m_entries[i]))
            SwapColors(table.m_entries[i], table.m_entries[grays++]);
    }
    if (grays > 0)
        table.m_count = grays;
    const int count = table.m_count;
    const auto value = [&table](int n) { return int{table.m_entries[n].m_colors[1]}; };
    for (int i = 0; i < count; ++i) {
        table.m_entries[i].m_index = static_cast<std::uint16_t>(i);
        int least = i;
        for (int j = i + 1; j < count; ++j)
            least = value(j) < value(least) ? j : least;
        SwapColors(table.m_entries[i], table.m_entries[least]);
    }
    // Halfway between two entries the higher one is nearer.
    int n = 0;
    for (int g = 0; g < kGrayCells; ++g) {
        while (n + 1 < count && Square(g - value(n)) >= Square(g - value(n + 1)))
            ++n;
        m_lookup->m_cells[g] = static_cast<std::uint8_t>(n);
    }
    CopyPalette();
}

// Each entry spreads from its own cell over those around it. Within one step the earlier entry has
// a cell.
void CPaletteDitherStage::BuildColorTable() {
    CopyPalette();
    const int count = m_ditherPalette->m_count;
    std::uint8_t places[QLPaletteTable::kMaxEntries][3];
    for (int i = 0; i < count; ++i) {
        for (int c = 0; c < 3; ++c) {
            const int color = m_ditherPalette->m_entries[i].m_colors[c];
            places[i][c] = static_cast<std::uint8_t>(std::min((color + 8) >> 4, kSide - 1));
        }
    }
    ColorCells cells;
    for (const Offset& offset : kOffsets) {
        if (cells.IsFull())
            break;
        for (int i = 0; i < count; ++i) {
            const std::uint8_t* at = places[i];
            for (const int red : {at[0] + offset.red, at[0] - offset.red}) {
                for (const int green : {at[1] + offset.green, at[1] - offset.green}) {
                    for (const int blue : {at[2] + offset.blue, at[2] - offset.blue})
                        cells.Offer(red, green, blue, i);
                }
            }
        }
    }
    std::transform(std::begin(cells.m_entries), std::end(cells.m_entries), m_lookup->m_cells,
                   [](std::int16_t entry) { return static_cast<std::uint8_t>(entry); });
    if (!cells.IsFull())
        FillEmptyCells(cells.m_entries);
}

// The nearest entry to the dark corner of the cell; of several the first.
void CPaletteDitherStage::FillEmptyCells(const std::int16_t* cells) {
    for (int cell = 0; cell < kDitherCells; ++cell) {
        if (cells[cell] != kEmpty)
            continue;
        const int corner[] = {cell >> 8 << 4, cell & 0xF0, (cell & 0xF) << 4};
        int least = 4 * Square(256);
        m_lookup->m_cells[cell] = 0;
        for (int i = 0; i < m_ditherPalette->m_count; ++i) {
            const std::uint16_t* color = m_ditherPalette->m_entries[i].m_colors;
            const int distance = Square(color[0] - corner[0]) + Square(color[1] - corner[1]) +
                                 Square(color[2] - corner[2]);
            if (distance < least) {
                least = distance;
                m_lookup->m_cells[cell] = static_cast<std::uint8_t>(i);
            }
        }
    }
}

// Index and colour of each cell side by side, so that the kernels find both at one place. Changes
// of the palette reach the next image.
QLStatus CPaletteDitherStage::MakeCells() {
    const int count = m_gray ? kDitherValues : kDitherCells;
    m_cells = TryNewRaw<QLDitherCell>(static_cast<std::size_t>(count));
    if (!m_cells)
        return QL_ERR_NO_MEMORY;
    for (int i = 0; i < count; ++i) {
        const int cell = m_gray ? std::clamp(i + kDitherLow, 0, kGrayCells - 1) : i;
        const std::uint8_t index = m_lookup->m_cells[cell];
        const std::uint16_t* color = m_ditherPalette->m_entries[index].m_colors;
        m_cells[i] = {{static_cast<std::uint8_t>(color[0]), static_cast<std::uint8_t>(color[1]),
                       static_cast<std::uint8_t>(color[2])},
                      index};
    }
    return QL_OK;
}

// ---- Lines

QLStatus CPaletteDitherStage::OnBeforeOpen() {
    m_lineType = m_outType;
    m_active = m_lineType == QL_PIXEL_INDEX8 || m_lineType == QL_PIXEL_HALFTONE;
    m_bypass = !m_active;
    return QL_OK;
}

void CPaletteDitherStage::TakeOutputType() {
    if (!IsActive() || !m_inFormat.IsInternal())
        return;
    m_outFormat.SetPixelType(m_lineType);
    if (m_lineType == QL_PIXEL_INDEX8)
        m_outFormat.m_palette = m_ditherPalette.get();
}

QLStatus CPaletteDitherStage::OnFormatChanged() {
    TakeUpstreamFormat();
    TakeOutputType();
    return m_downstream ? m_downstream->OnFormatChanged() : QL_OK;
}

QLStatus CPaletteDitherStage::OnAfterOpen() {
    m_linesDone = 0;
    m_active = m_active && m_inFormat.IsInternal();
    m_bypass = !m_active;
    if (m_bypass)
        return QL_OK;
    if (!IsComplete())
        return QL_ERR_NO_MEMORY;
    TakeOutputType();
    m_noiseState = kFirstNoise;
    m_directions = m_serpentine ? 2 : 1;
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    m_gray = DithersGray();
    m_errorLine = TryNewArray<std::int16_t>(m_gray ? width : 3 * width);
    m_grayLine = TryNewRaw<std::uint16_t>(m_gray && m_inFormat.IsInternalColor() ? width : 1);
    m_indexLine = TryNewRaw<std::uint8_t>(m_lineType == QL_PIXEL_HALFTONE ? width : 1);
    if (!m_errorLine || !m_grayLine || !m_indexLine)
        return QL_ERR_NO_MEMORY;
    std::fill(std::begin(m_carry), std::end(m_carry), std::int16_t{0});
    BuildDitherTables();
    return MakeCells();
}

void CPaletteDitherStage::WriteLines(const CQLLineBuffer& source, std::int32_t lines,
                                     std::uint8_t* target) {
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    const std::size_t channels = m_inFormat.m_samplesPerPixel;
    const std::uint16_t* samples = source.Samples();
    const bool bits = m_lineType == QL_PIXEL_HALFTONE;
    QLDitherLine line = {samples, width, false, m_errorLine.get(), m_carry, nullptr};
    for (std::int32_t i = 0; i < lines; ++i) {
        line.m_backward = (m_linesDone + static_cast<std::uint32_t>(i)) % m_directions == 1;
        line.m_indices = bits ? m_indexLine.get() : target;
        line.m_samples = samples;
        if (m_gray && channels == 3) {
            GrayOfColors(samples, width, m_grayLine.get());
            line.m_samples = m_grayLine.get();
        }
        if (m_noiseMask != 0)
            DitherNoisyLine(line, m_gray ? 1 : 3, m_cells.get(), m_noiseMask, &m_noiseState);
        else if (m_gray)
            DitherGrayLine(line, m_cells.get());
        else
            DitherColorLine(line, m_cells.get());
        if (bits)
            PackIndexBits(line.m_indices, width, target);
        samples += width * channels;
        target += m_outFormat.m_bytesPerLine;
    }
}

QLStatus CPaletteDitherStage::OnAfterClose() {
    m_errorLine.reset();
    m_grayLine.reset();
    m_indexLine.reset();
    m_cells.reset();
    return CNewLineStage::OnAfterClose();
}
