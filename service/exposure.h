// Automatic exposure of a scan: a quick look at the original, and what it says of the scan to come.
//
//     std::optional<FoundExposure> found;
//     ScanStatus status = FindExposure(device, {.tone = true}, nullptr, found);
//     if (status.code == S_OK && found)
//         status = ApplyExposure(device, *found, {});
//
// The driver delivers a page in one pass, so nothing can be looked at before. Hence a preview: the
// same window of the same source at the lowest resolution, through the same driver, with the
// settings of the open device. Its lines come as the scanner has measured them (ScanOptions::input)
// and go through the analysis of an engine of the program's own (item_engine.h).
#pragma once

#include <functional>
#include <span>

#include "engine/private_properties.h"
#include "service/device_properties.h"

class CQLEngine;

// What is wanted. `expose` is a stronger kind of both others.
struct AutoWish {
    bool tone = false;
    bool color = false;
    bool expose = false;

    bool WantsTone() const { return tone || expose; }
    bool WantsColor() const { return color || expose; }
};

struct FoundExposure {
    // Levels, -100 to 100. Without tone they mean nothing.
    bool hasTone = false;
    LONG highlight = 0;
    LONG midtone = 0;
    LONG shadow = 0;
    // The colour point in hundredths. Without colour it means nothing.
    bool hasColor = false;
    LONG hueX = 0;
    LONG hueY = 0;

    // As properties of the item, with the exposure method by which the levels count.
    std::vector<PropertyWrite> Writes() const;
};

// The next row of a bitmap, the top one first, padded to 4 bytes. False: it can't be had.
using RowSource = std::function<bool(BYTE* row)>;

// Runs a bitmap of 8 or 24 bits through the engine's analysis pass, as far as the engine's type of
// output has tones. What was found stands in the engine too; what wasn't wanted is there as it was,
// but rotation, which is off the data path then. Nothing when there is nothing to analyse, or a row
// couldn't be had.
std::optional<FoundExposure> AnalyseImage(CQLEngine& engine, const BITMAPINFOHEADER& info,
                                          const RowSource& rows, const AutoWish& wish);

// Nothing in `found` with success: there is nothing to analyse. S_FALSE: cancelled, by the flag,
// which may be null. The feeder keeps the sheet for the scan; 0x80040016 where it can't. All
// properties are again as they were; a failure to restore one is told where nothing failed before.
ScanStatus FindExposure(CScanDevice& device, const AutoWish& wish, const std::atomic<bool>* cancel,
                        std::optional<FoundExposure>& found);

// Likewise, the palette of the colours that the original has: 1 to 256 of them. Success that isn't
// a cancel has found one.
ScanStatus FindPalette(CScanDevice& device, const std::atomic<bool>* cancel,
                       std::optional<PaletteRecord>& found);

// Writes what was found to the item that holds images, but for the properties `kept`.
ScanStatus ApplyExposure(CScanDevice& device, const FoundExposure& found,
                         std::span<const PROPID> kept);
