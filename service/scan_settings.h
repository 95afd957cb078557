// What a person asks of a scan, and how it is put into a device's properties.
//
//     ScanSettings settings;
//     settings.source = ScanSource::Feeder;
//     settings.resolution = 300;
//     settings.area = ScanArea{10, 10, 100, 50, ScanArea::Unit::Millimeters};
//     CDeviceProperties properties;
//     ScanStatus status = ApplySettings(device, settings, properties);
#pragma once

#include <optional>
#include <vector>

#include "engine/private_properties.h"
#include "frame/palette_table.h"
#include "service/scan_geometry.h"

// Unchanged: as the device's properties have it.
enum class ScanSource { Unchanged, Flatbed, Feeder, Duplex, Slide, Negative };
enum class ScanMode { Unchanged, Color, Gray, LineArt, Dithered, Indexed };
enum class ScanMedium { Callback, File };

// What is brought out of an image, or filtered out of it; nothing is as the device's properties
// have it.
struct ScanFilters {
    std::optional<LONG> sharpening = {};    // 0 to 4, the higher the more; 5 off
    std::optional<LONG> smoothing = {};     // 0 off, 1 of noise, 2 of all detail besides
    std::optional<LONG> streaks = {};       // 0 off, 1 or 2
    std::optional<LONG> streakDetail = {};  // rebuilds two channels from red, green or blue: 1 to 3
};
std::vector<PropertyWrite> FilterWrites(const ScanFilters& filters);

// The colours of ScanMode::Indexed.
struct ScanPalette {
    LONG kind = QL_PALETTE_SYSTEM;  // QL_PALETTE_CUBE, or QL_PALETTE_USER for those that follow
    PaletteRecord colors = {};
};

struct ScanSettings {
    ScanSource source = ScanSource::Unchanged;
    ScanMode mode = ScanMode::Unchanged;
    ScanPalette palette;
    std::optional<ScanResolution> resolution;
    // A resolution that the device hasn't got is scanned at the next higher one that it has. The
    // client makes the page smaller: see ResultResolution.
    bool reduces = false;
    // The quick look ahead of a scan: at the lowest resolution unless another is asked for, and a
    // feeder keeps the sheet for the scan.
    bool preview = false;
    std::optional<ScanArea> area;
    std::optional<LONG> brightness;  // -1000 to 1000
    std::optional<LONG> contrast;    // -1000 to 1000
    std::optional<LONG> threshold;   // of line art
    bool mirror = false;             // each line from right to left
    std::optional<LONG> rotation;    // degrees clockwise, 90, 180 or 270, behind the mirror
    ScanFilters filters;
    // Others: those of the root are written behind the source, those of other items at the end.
    std::vector<ItemWrite> others;
    ScanMedium medium = ScanMedium::Callback;
};

// A palette's colours in the order of its table.
PaletteRecord RecordOf(const QLPaletteTable& table);

// A palette as properties of the item: its number, and the colours of the one that has that of
// ScanPalette.
std::vector<PropertyWrite> PaletteWrites(LONG kind, const PaletteRecord& colors);

// The data type of an item. Line art is what the scanner sees as gray, made black and white by the
// threshold; indexed images are colour ones, with a palette.
LONG DataTypeOf(ScanMode mode);

// The resolution that the page is to have, behind ApplySettings: the device's own, but for one that
// was asked for with `reduces` and that the device hasn't got.
ScanResolution ResultResolution(const CDeviceProperties& properties, const ScanSettings& settings);

// Writes the settings in the order in which each finds the valid values that it needs: the source,
// resolution and mode, the window, and the rest. Stops at the first that the device doesn't have or
// refuses, with what it can do in the text (E_INVALIDARG, or the driver's own code); those before
// it stand. `properties` gets the device's, as they are at the end.
ScanStatus ApplySettings(CScanDevice& device, const ScanSettings& settings,
                         CDeviceProperties& properties);

// The sources that an open device has. Whether a transparency adapter is connected shows only when
// one is chosen, which is tried and taken back.
ScanStatus FindSources(CScanDevice& device, const CDeviceProperties& properties,
                       std::vector<ScanSource>& sources);
// The one that the properties name.
ScanSource SourceOf(const CDeviceProperties& properties);

// The pages that a scan of the device takes, as PagesOfScan of page_count.h counts them.
int PagesOfScan(const CDeviceProperties& properties, int asked);
