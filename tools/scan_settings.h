// What the user asks of a scan, and how it is put into the device's properties.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/device_properties.h"

enum class EScanSource { Unchanged, Flatbed, Feeder, Duplex, Slide, Negative };
enum class EScanMode { Unchanged, Color, Gray, LineArt };
enum class EMedium { Callback, File };

// A window, from the upper left corner.
struct CScanArea {
    enum class EUnit { Pixels, Inches, Millimeters };

    double m_left = 0;
    double m_top = 0;
    double m_width = 0;
    double m_height = 0;
    EUnit m_unit = EUnit::Millimeters;

    // "X,Y,W,H" and mm, in or px; nothing with one line in `error`.
    static std::optional<CScanArea> Parse(const std::string& text, std::string* error);
    // Nearest pixels at a resolution.
    LONG Pixels(double length, LONG dpi) const;
};

struct CScanSettings {
    EScanSource m_source = EScanSource::Unchanged;
    EScanMode m_mode = EScanMode::Unchanged;
    std::optional<int> m_resolution;
    std::optional<CScanArea> m_area;
    std::optional<int> m_brightness;
    std::optional<int> m_contrast;
    std::optional<int> m_threshold;
    std::vector<std::string> m_sets;  // NAME=VALUE
    EMedium m_medium = EMedium::Callback;
};

// How a scan's settings failed: by their wording, ahead of all writes, or by the device.
struct CSettingsResult {
    ScanStatus m_status;
    bool m_isUsage = false;
};

// Writes the settings in the order in which each finds the valid values that it needs: the source,
// resolution and mode, the window, and the rest. `properties` are the device's now and then.
CSettingsResult ApplySettings(CScanDevice& device, const CScanSettings& settings,
                              CDeviceProperties& properties);
