#include "frame/palette_table.h"

#include <algorithm>

namespace {

constexpr int kTop = 255;
constexpr int kCubeStep = 51;
constexpr int kFineStep = 17;
constexpr int kFirstFine = 238;  // the first of the fine steps below the top

struct Color {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
};
constexpr Color kClassic[] = {{128, 128, 128}, {128, 128, 0}, {128, 0, 128}, {128, 0, 0},
                              {0, 128, 128},   {0, 128, 0},   {0, 0, 128},   {192, 192, 192}};
// Multiples of 17 that the cube's steps of 51 leave out.
constexpr std::uint8_t kBetween[] = {221, 187, 170, 136, 119, 85, 68, 34};
// Which channels of a ramp have its value: gray, then one by one.
constexpr Color kRamps[] = {{1, 1, 1}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

// Of the cube, FillRest handles colours up to this count, which begins with the grays that are in.
constexpr int kCubeEnd = 214;
constexpr int kCubeStart = 8;

void AddMissing(QLPaletteTable* table, int red, int green, int blue) {
    if (!Contains(*table, red, green, blue))
        AddColor(table, red, green, blue);
}

bool IsFull(const QLPaletteTable& table) {
    return table.m_count >= QLPaletteTable::kMaxEntries;
}

// Calls `take` for the colours of the cube from white to black, until it answers false.
template <typename Take>
void WalkCube(const Take& take) {
    for (int red = kTop; red >= 0; red -= kCubeStep) {
        for (int green = kTop; green >= 0; green -= kCubeStep) {
            for (int blue = kTop; blue >= 0; blue -= kCubeStep) {
                if (!take(red, green, blue))
                    return;
            }
        }
    }
}

}  // namespace

void InitIdentity(QLPaletteTable* table) {
    *table = {};
    for (std::uint16_t i = 0; i < QLPaletteTable::kMaxEntries; ++i)
        table->m_entries[i].m_index = i;
}

void AddColor(QLPaletteTable* table, int red, int green, int blue) {
    if (IsFull(*table))
        return;
    const std::uint16_t place = table->m_count++;
    table->m_entries[place] = {place,
                               {static_cast<std::uint16_t>(red), static_cast<std::uint16_t>(green),
                                static_cast<std::uint16_t>(blue)}};
}

void FillCube(QLPaletteTable* table) {
    InitIdentity(table);
    WalkCube([table](int red, int green, int blue) {
        AddColor(table, red, green, blue);
        return true;
    });
}

void FillSystem(QLPaletteTable* table) {
    FillCube(table);
    for (const Color& color : kClassic)
        AddColor(table, color.red, color.green, color.blue);
    for (const Color& ramp : kRamps) {
        for (const int value : kBetween)
            AddColor(table, value * ramp.red, value * ramp.green, value * ramp.blue);
    }
}

void FillGrayRamp(QLPaletteTable* table, std::int32_t count) {
    InitIdentity(table);
    count = std::clamp(count, 0, QLPaletteTable::kMaxEntries);
    const int step = count == QLPaletteTable::kMaxEntries ? 1 : 256 / std::max(count - 1, 1);
    for (int i = 0; i < count; ++i) {
        const int gray = std::min(i * step, kTop);
        AddColor(table, gray, gray, gray);
    }
}

bool Contains(const QLPaletteTable& table, int red, int green, int blue) {
    const auto* end = table.m_entries + std::min<int>(table.m_count, QLPaletteTable::kMaxEntries);
    return std::any_of(table.m_entries, end, [=](const QLPaletteTable::Entry& entry) {
        return entry.m_colors[0] == red && entry.m_colors[1] == green && entry.m_colors[2] == blue;
    });
}

void FillRest(QLPaletteTable* table) {
    // The ends and the middle of gray first, then the ramps; colours between, as many as the count
    // allows, with the pure ones left to ramps of their own.
    for (const int gray : {0, kTop, 192})
        AddMissing(table, gray, gray, gray);
    int handled = kCubeStart;
    for (int gray = kFirstFine; gray > 0 && !IsFull(*table); gray -= kFineStep, ++handled)
        AddMissing(table, gray, gray, gray);
    WalkCube([&](int red, int green, int blue) {
        const bool gray = red == green && green == blue;
        const bool pure = (red == 0) + (green == 0) + (blue == 0) >= 2;
        if (gray || pure)
            return true;
        AddMissing(table, red, green, blue);
        return ++handled < kCubeEnd && !IsFull(*table);
    });
    for (const Color& ramp : {kRamps[1], kRamps[2], kRamps[3]}) {
        for (int value = kFirstFine; value > 0; value -= kFineStep)
            AddMissing(table, value * ramp.red, value * ramp.green, value * ramp.blue);
    }
}

void MakeSound(QLPaletteTable* table) {
    // A negative count, as the record's signed word may have it, is far above 256 here.
    if (table->m_count > QLPaletteTable::kMaxEntries)
        table->m_count = table->m_count >= 0x8000 ? 0 : QLPaletteTable::kMaxEntries;
    bool named[QLPaletteTable::kMaxEntries] = {};
    bool once = true;
    for (int i = 0; i < table->m_count; ++i) {
        QLPaletteTable::Entry& entry = table->m_entries[i];
        for (std::uint16_t& color : entry.m_colors)
            color = std::min<std::uint16_t>(color, kTop);
        once = once && entry.m_index < table->m_count && !named[entry.m_index];
        if (once)
            named[entry.m_index] = true;
    }
    for (std::uint16_t i = 0; !once && i < table->m_count; ++i)
        table->m_entries[i].m_index = i;
}
