// The settings of one open scanner, as programs change them: one at a time, in any order.
//
// Each goes through the driver's validation at once, and what it made of it is what is shown. What
// the driver takes back on the way, such as everything of the scanned item when the source changes,
// is written again from what the program had asked for, as far as the new source can follow.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>

#include "service/exposure.h"
#include "service/scan_settings.h"

class CScannerSettings {
  public:
    // The window's sides, in the order of their options.
    enum Side { kLeft, kTop, kRight, kBottom, kSides };

    // `cancel` ends waits for the scanner; it must live as long as this.
    CScannerSettings(std::string number, const std::atomic<bool>* cancel);

    // Opens the scanner, unless it is open; what was asked for before is written again.
    ScanStatus Open();
    const std::string& Number() const { return m_number; }

    // ---- As they are. The properties stand still while a scan has the device.

    const CDeviceProperties& Properties() const { return m_properties; }
    // Of the root or the scanned item; null if neither has it.
    const ScanProperty* Find(PROPID id) const;
    LONG Value(PROPID id) const;

    // Those that the scanner had when it was opened first.
    const std::vector<ScanSource>& Sources() const { return m_sources; }
    ScanSource Source() const { return SourceOf(m_properties); }
    bool UsesFeeder() const;
    ScanMode Mode() const;
    // Millimeters from the upper left corner, and how far the source reaches.
    double SideAt(Side side) const;
    double Reach(Side side) const;
    // The window holds a pixel, and the driver takes it.
    bool HasWindow() const { return m_window.Ok() && IsSound(WantedWindow()); }
    const AutoWish& Automatic() const { return m_asked.automatic; }
    // Of a feeder's job; 0: all that are there.
    int Pages() const { return m_asked.pages; }

    // ---- Changes

    ScanStatus SetSource(ScanSource source);
    ScanStatus SetMode(ScanMode mode);
    ScanStatus SetResolution(LONG across, LONG along);
    ScanStatus SetSide(Side side, double millimeters);
    // A property of the root or the scanned item that is a plain number.
    ScanStatus SetValue(PROPID id, LONG value);
    void SetAutomatic(const AutoWish& automatic) { m_asked.automatic = automatic; }
    void SetPages(int pages) { m_asked.pages = pages; }

    // ---- A scan has the device to itself

    CScanDevice GiveDevice() { return std::move(m_device); }
    // The one that was given, maybe closed. What an automatic exposure has found is forgotten: it
    // is no beginning for the next one.
    void TakeDevice(CScanDevice device);

  private:
    struct Asked {
        ScanSource source = ScanSource::Unchanged;
        ScanMode mode = ScanMode::Unchanged;
        std::optional<LONG> across;  // dots per inch
        std::optional<LONG> along;
        std::array<std::optional<double>, kSides> sides;
        std::map<PROPID, LONG> values;
        AutoWish automatic;
        int pages = 0;
    };
    struct Window {
        LONG left = 0;
        LONG top = 0;
        LONG width = 0;
        LONG height = 0;
    };

    static bool IsSound(const Window& window) { return window.width > 0 && window.height > 0; }

    bool IsOfRoot(PROPID id) const;
    ScanStatus Refresh();
    ScanStatus ForgetFound();
    ScanStatus Write(const std::string& item, const std::vector<PropertyWrite>& writes);
    ScanStatus ChooseSource(ScanSource source);
    ScanStatus WriteResolution();
    // What the source doesn't take stays the driver's.
    ScanStatus WriteAgain();
    Window WantedWindow() const;
    double WantedSide(Side side) const;
    LONG Dpi(Side side) const;
    ScanStatus WriteWindow();

    const std::string m_number;
    const CScanClient m_client;
    CScanDevice m_device;
    CDeviceProperties m_properties;
    std::vector<ScanSource> m_sources;
    Asked m_asked;
    ScanStatus m_window;  // what the driver said of the last one
};
