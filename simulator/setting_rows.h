// The one table of all settings that are numbers: their names, where they stand, what they may be,
// what they are when no file says otherwise, and what they mean. The reader of the files, the
// defaults and the list in docs/simulated-scanner.md are made from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// What stands at a row's place, and how a file writes it: numbers are decimal, or hexadecimal
// behind "0x"; several have commas or blanks between them.
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
    const char* initial = nullptr;  // as a file would have it; null: 0
    const char* about = nullptr;    // null: a field of the toolkit's records, which tell of it
};

std::span<const CSettingRow> SettingRows();

// The largest number that a row's place takes.
std::uint32_t LargestOf(const CSettingRow& row);
