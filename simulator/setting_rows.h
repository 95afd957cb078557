// The names of all settings that are numbers, where they stand, and what they may be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// What stands at a row's place.
enum class ESetting {
    Byte,
    Word,
    Dword,
    Depths,    // up to eight bytes, ascending
    ByteList,  // `count` bytes
    Rgb,       // three bytes
    Dpi,       // "300" or "300x600", two 32-bit numbers
    Choice,    // 32 bits; one of `choices`, by its place
};

struct CSettingRow {
    const char* section;
    const char* key;
    ESetting kind;
    std::size_t offset;  // in CNumbers
    std::uint32_t least = 0;
    std::uint32_t most = 0;         // 0: what the place holds
    const char* choices = nullptr;  // names with a blank behind each
};

std::span<const CSettingRow> SettingRows();
