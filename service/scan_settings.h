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
#include "service/device_properties.h"

// Unchanged: as the device's properties have it.
enum class ScanSource { Unchanged, Flatbed, Feeder, Duplex, Slide, Negative };
enum class ScanMode { Unchanged, Color, Gray, LineArt, Dithered, Indexed };
enum class ScanMedium { Callback, File };

// A window on the glass or in the frame, from the upper left corner.
struct ScanArea {
    enum class Unit { Pixels, Inches, Millimeters };

    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;
    Unit unit = Unit::Millimeters;

    // The nearest whole number of pixels at a resolution; what LONG can't hold becomes its end.
    LONG Pixels(double length, LONG dpi) const;
};

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
    std::optional<LONG> resolution;  // dots per inch, both ways
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
