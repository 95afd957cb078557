// What a simulated device is: the records and tables that it answers with, what lies on it, and how
// it behaves. Made from a model's file with the device's own settings over it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "controller/toolkit.h"
#include "simulator/ini_file.h"
#include "simulator/operations.h"

// The optional facets that a model has; bits of CSettings::m_facets. Numbers of this program alone:
// files have names.
enum EFacet : std::uint32_t {
    kFacetAdf = 1u << 0,
    kFacetAdf2 = 1u << 1,
    kFacetAdf3 = 1u << 2,
    kFacetXpa = 1u << 3,
    kFacetXpaLamp = 1u << 4,
    kFacetXpaMedia = 1u << 5,
    kFacetNvram = 1u << 6,
    kFacetCompression = 1u << 7,
    kFacetExtendedLamp = 1u << 8,
    kFacetPanel = 1u << 9,
    kFacetProperties = 1u << 10,
    kFacetColorMatrix = 1u << 11,
    kFacetJobGate = 1u << 12,
    kFacetProfile = 1u << 13,
    kFacetResolutions = 1u << 14,
    kFacetButtons = 1u << 15,
    kFacetInstantLamp = 1u << 16,
    kFacetPendingTask = 1u << 17,
};

// Scan sources, as an index; slides and negatives are two media of the adapter.
enum ESource { kFlatbed, kFeeder, kAdapter, kSources };
enum EFilm : std::uint32_t { kSlide, kNegative };

// How a picture's values stand to the light that the sensor measures.
enum EEncoding : std::uint32_t {
    kEncodingLinear,    // they are the light
    kEncodingSrgb,      // as screens show them
    kEncodingNegative,  // as screens show them, and what lies there is their colour negative
};

// How presses reach a program; the two ways are bits.
enum EReport : std::uint32_t { kReportPoll = 1, kReportPipe = 2, kReportBoth = 3 };

struct CRgb {
    std::uint8_t m_red;
    std::uint8_t m_green;
    std::uint8_t m_blue;
};

// One picture and where it lies; lengths in 1/300 inch.
struct CPlacing {
    std::uint32_t m_xDpi;  // 0: as the file says, else 300
    std::uint32_t m_yDpi;
    std::uint32_t m_encoding;
    std::uint32_t m_left;
    std::uint32_t m_top;
};

// All settings that are numbers. Plain memory, so that one table of names, kinds and offsets reads
// them.
struct CNumbers {
    OstrelDeviceCaps m_device;
    OstrelAdfCaps m_adf;
    OstrelAdf2Caps m_adf2;
    OstrelAdf3Caps m_adf3;
    OstrelXpaCaps m_xpa;
    OstrelNvramInfo m_nvram;
    OstrelCompressionCaps m_compression;
    OstrelPanelCaps m_panel;
    OstrelColorMatrixCaps m_colorMatrix;

    std::uint32_t m_lampTimeout;  // minutes
    std::uint32_t m_hasCurrentLampOn;
    std::uint32_t m_hasAdfProperty;
    std::uint32_t m_hasXpaProperty;
    std::uint32_t m_jobGateState;
    std::uint32_t m_pendingTask;

    std::uint32_t m_buttons;
    std::uint32_t m_report;
    std::uint8_t m_buttonBytes[32];

    std::uint32_t m_sheets;
    std::uint32_t m_measuresLength;
    std::uint32_t m_duplexSwitch;
    std::uint32_t m_film;
    CPlacing m_flatbed;
    CPlacing m_pages;
    CPlacing m_slide;
    CPlacing m_negative;
    CRgb m_lids[kSources];

    std::uint32_t m_linesPerSecond;
    std::uint32_t m_calibrationTime;  // milliseconds
    std::uint32_t m_endAtLine;        // 0: never
    std::uint32_t m_jamAtSheet;
    std::uint32_t m_jamAtLine;
    std::uint32_t m_hatchOpen;
    std::uint32_t m_noise;  // steps of 8 bits
    std::uint32_t m_seed;
    std::uint32_t m_record;
};

// When an operation fails, and with which of the toolkit's codes.
struct CFault {
    std::uint32_t m_call;  // counted from 1
    bool m_onwards;        // also at every later call
    DWORD m_code;

    bool operator==(const CFault&) const = default;
};

// All that is ordered for one operation.
struct CFaultPlan {
    EOperation m_operation;
    std::vector<CFault> m_faults;

    bool operator==(const CFaultPlan&) const = default;
};

// A sheet in the feeder's tray.
struct CSheet {
    std::string m_front;  // paths; empty: a blank side
    std::string m_back;
};

// Everything about a device. Made once, and replaced whole when its file has changed: a call that
// runs keeps the one that it began with.
struct CSettings {
    std::string m_model;
    std::uint32_t m_facets = 0;
    CNumbers m_numbers = {};
    std::string m_firmware;            // empty: the device lacks the property
    std::vector<OstrelMedia> m_media;  // of the adapter
    std::array<OstrelResolutionTable, kSources> m_resolutions = {};
    std::string m_profile;         // path; empty: none
    std::string m_flatbedPicture;  // paths; empty: the built-in one, "none": nothing
    std::string m_slidePicture;
    std::string m_negativePicture;
    std::vector<CSheet> m_pages;  // empty: built-in pages
    std::vector<CFaultPlan> m_faults;

    bool Has(EFacet facet) const { return (m_facets & facet) != 0; }
};

// In place of a path: nothing lies there.
inline constexpr const char* kNoPicture = "none";
inline constexpr const char* kDefaultModel = "SIM300A";

// Reads a model's file over the general defaults. Paths in it are relative to `folder`. Throws
// CSimFailure for a key that isn't known, a value out of range, or settings that don't fit
// together.
CSettings ReadModel(const CIniFile& ini, const std::string& folder);

// A device's own settings over its model's. Model and facets stay.
void ApplyDeviceSettings(const CIniFile& ini, const std::string& folder, CSettings& settings);

// The number of a facet's bit by its name; 0 if there is none.
std::uint32_t FacetByName(std::string_view name);
