// Line kernels at both ends of the internal form: pixels of three samples whose colour order turns.
#pragma once

#include <cstddef>
#include <cstdint>

// Each 8-bit sample moved up by 8 bits.
void WidenSamples(const std::uint8_t* source, std::uint16_t* target, std::size_t samples);

// The same of pixels of four bytes, of which the first is dropped.
void WidenBehindPad(const std::uint8_t* source, std::uint16_t* target, std::size_t pixels);

// Each 8-bit sample through a table of 256 entries, in place and with the colour order turned.
void DecodeSamples(const std::uint8_t* source, std::uint16_t* target, std::size_t samples,
                   const std::uint16_t* table);
void DecodeBlueFirst(const std::uint8_t* source, std::uint16_t* target, std::size_t pixels,
                     const std::uint16_t* table);

// Samples of fewer than 16 significant bits moved up to full scale; those with the high byte first
// are turned before.
void ShiftSamples(const std::uint16_t* source, std::uint16_t* target, std::size_t samples,
                  int shift, bool highByteFirst);

// Blue first in 8 bits to red first in 16, each sample moved up by 8 bits.
void WidenBlueFirst(const std::uint8_t* source, std::uint16_t* target, std::size_t pixels);

// Red first in 16 bits to blue first in 8: the high bytes.
void NarrowBlueFirst(const std::uint16_t* source, std::uint8_t* target, std::size_t pixels);

// The high byte of each sample. `invert` is 0, or 0xFF for the complement.
void NarrowSamples(const std::uint16_t* source, std::uint8_t* target, std::size_t samples,
                   std::uint8_t invert);

// Pixels of four bytes: 0, then the high bytes of red, green, blue.
void NarrowBehindPad(const std::uint16_t* source, std::uint8_t* target, std::size_t pixels);

// 16-bit pixels with the colour order turned; the target may stand at any byte.
void CopyBlueFirst(const std::uint16_t* source, std::uint8_t* target, std::size_t pixels);
