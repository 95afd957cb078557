#include "pictures/palette_kind.h"

namespace {

// A gray of this value.
bool IsAll(const RGBQUAD& color, std::size_t value) {
    return color.rgbBlue == value && color.rgbGreen == value && color.rgbRed == value;
}

}  // namespace

EPaletteKind KindOf(std::span<const RGBQUAD> palette) {
    if (palette.empty())
        return EPaletteKind::None;
    if (palette.size() == 2) {
        if (IsAll(palette[0], 0) && IsAll(palette[1], 0xFF))
            return EPaletteKind::WhiteIsSet;
        if (IsAll(palette[0], 0xFF) && IsAll(palette[1], 0))
            return EPaletteKind::BlackIsSet;
        return EPaletteKind::Colors;
    }
    // Grays only if every pixel is its own gray; any other order has to be told to readers.
    for (std::size_t i = 0; i < palette.size(); ++i) {
        if (!IsAll(palette[i], i))
            return EPaletteKind::Colors;
    }
    return EPaletteKind::Grays;
}
