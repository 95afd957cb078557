#include "simulator/setting_rows.h"

#include "simulator/settings.h"

namespace {

using enum ESetting;

#define AT(member) offsetof(CNumbers, member)

constexpr std::uint32_t kMostLength = 12000;  // 40 inches
constexpr std::uint32_t kMostDpi = 9600;
constexpr std::uint32_t kMostLine = 1000000;
constexpr const char* kEncodings = "linear srgb negative ";

constexpr CSettingRow kRows[] = {
    // What the device's records tell, by the names of their fields.
    {"device", "lampWarmUpFlatbed", Word, AT(m_device.lampWarmUpFlatbed)},
    {"device", "opticalResolution", Word, AT(m_device.opticalResolution), 1, kMostDpi},
    {"device", "maxXResolution", Word, AT(m_device.maxXResolution), 1, kMostDpi},
    {"device", "maxYResolution", Word, AT(m_device.maxYResolution), 1, kMostDpi},
    {"device", "minResolution", Word, AT(m_device.minResolution), 1, kMostDpi},
    {"device", "bedWidth", Dword, AT(m_device.bedWidth), 1, kMostLength},
    {"device", "bedHeight", Dword, AT(m_device.bedHeight), 1, kMostLength},
    {"device", "depthFlags", Dword, AT(m_device.depthFlags)},
    {"device", "modeFlags", Dword, AT(m_device.modeFlags)},
    {"device", "channelFlags", Word, AT(m_device.channelFlags)},
    {"device", "wPaperPath", Word, AT(m_device.wPaperPath)},
    {"device", "colorDepths", Depths, AT(m_device.colorDepths)},
    {"device", "grayDepths", Depths, AT(m_device.grayDepths)},
    {"device", "tonemapLength", Dword, AT(m_device.tonemapLength), 1, 65536},
    {"device", "tonemapMaxValue", Dword, AT(m_device.tonemapMaxValue), 1, 65535},
    {"device", "tonemapEntrySize", Word, AT(m_device.tonemapEntrySize), 1, 2},
    {"device", "deviceGrayLimit", Word, AT(m_device.deviceGrayLimit)},

    {"adf", "pageLength", Dword, AT(m_adf.pageLength), 0, kMostLength},

    {"adf2", "hasADF", Byte, AT(m_adf2.hasADF)},
    {"adf2", "adfFlags", Word, AT(m_adf2.adfFlags)},
    {"adf2", "adfOption", Byte, AT(m_adf2.adfOption)},
    {"adf2", "adfDuplexFlags", Dword, AT(m_adf2.adfDuplexFlags)},
    {"adf2", "maxXResolution", Word, AT(m_adf2.maxXResolution), 1, kMostDpi},
    {"adf2", "maxYResolution", Word, AT(m_adf2.maxYResolution), 1, kMostDpi},
    {"adf2", "minResolution", Word, AT(m_adf2.minResolution), 1, kMostDpi},
    {"adf2", "simplexWidth", Dword, AT(m_adf2.simplexWidth), 1, kMostLength},
    {"adf2", "simplexHeight", Dword, AT(m_adf2.simplexHeight), 1, kMostLength},
    {"adf2", "duplexWidth", Dword, AT(m_adf2.duplexWidth), 0, kMostLength},
    {"adf2", "duplexHeight", Dword, AT(m_adf2.duplexHeight), 0, kMostLength},
    {"adf2", "modeFlags", Dword, AT(m_adf2.modeFlags)},
    {"adf2", "colorDepths", Depths, AT(m_adf2.colorDepths)},
    {"adf2", "grayDepths", Depths, AT(m_adf2.grayDepths)},

    {"adf3", "hasADF", Byte, AT(m_adf3.hasADF)},
    {"adf3", "hasDuplexSwitch", Byte, AT(m_adf3.hasDuplexSwitch)},
    {"adf3", "switchFlags", Word, AT(m_adf3.switchFlags)},
    {"adf3", "adf3DuplexFlags", Dword, AT(m_adf3.adf3DuplexFlags)},
    {"adf3", "adf3Value", Word, AT(m_adf3.adf3Value)},

    {"xpa", "hasXPA", Byte, AT(m_xpa.hasXPA)},
    {"xpa", "lampWarmUpXPA", Word, AT(m_xpa.lampWarmUpXPA)},
    {"xpa", "maxXResolution", Word, AT(m_xpa.maxXResolution), 1, kMostDpi},
    {"xpa", "maxYResolution", Word, AT(m_xpa.maxYResolution), 1, kMostDpi},
    {"xpa", "minResolution", Word, AT(m_xpa.minResolution), 1, kMostDpi},
    {"xpa", "xpaWidth", Dword, AT(m_xpa.xpaWidth), 1, kMostLength},
    {"xpa", "xpaHeight", Dword, AT(m_xpa.xpaHeight), 1, kMostLength},
    {"xpa", "modeFlags", Dword, AT(m_xpa.modeFlags)},
    {"xpa", "depths", Depths, AT(m_xpa.depths)},
    {"xpa", "xpaMediaType", Word, AT(m_xpa.xpaMediaType)},

    {"nvram", "items", Dword, AT(m_nvram.items)},

    // Of the transfer types only the uncompressed one is produced.
    {"compression", "supportedTypes", Dword, AT(m_compression.supportedTypes), 1, 1},
    {"compression", "defaultType", Dword, AT(m_compression.defaultType), 1, 1},
    {"compression", "minQFactor", Dword, AT(m_compression.minQFactor)},
    {"compression", "maxQFactor", Dword, AT(m_compression.maxQFactor)},
    {"compression", "maxResolution", Word, AT(m_compression.maxResolution)},
    {"compression", "colorFlags", Dword, AT(m_compression.colorFlags)},
    {"compression", "grayFlags", Dword, AT(m_compression.grayFlags)},
    {"compression", "lineArtFlags", Dword, AT(m_compression.lineArtFlags)},

    {"panel", "flags", Dword, AT(m_panel.flags)},
    {"panel", "buttons", Dword, AT(m_panel.buttons)},
    {"colorMatrix", "hasMatrix", Byte, AT(m_colorMatrix.hasMatrix)},

    // What else the device has.
    {"lamp", "timeout", Dword, AT(m_lampTimeout), 1, 60 * 24},
    {"properties", "CurrentLampOn", Dword, AT(m_hasCurrentLampOn), 0, 1},
    {"properties", "ADF", Dword, AT(m_hasAdfProperty), 0, 1},
    {"properties", "XPA", Dword, AT(m_hasXpaProperty), 0, 1},
    {"jobGate", "state", Dword, AT(m_jobGateState), 0, 0xFFFFFFFFu},
    {"pendingTask", "waiting", Dword, AT(m_pendingTask), 0, 1},
    {"buttons", "count", Dword, AT(m_buttons), 0, sizeof(CNumbers::m_buttonBytes)},
    {"buttons", "report", Choice, AT(m_report), kReportPoll, 0, "poll pipe both "},
    {"buttons", "bytes", ByteList, AT(m_buttonBytes), 0, sizeof(CNumbers::m_buttonBytes)},

    // What lies on it.
    {"flatbed", "dpi", Dpi, AT(m_flatbed.m_xDpi), 1, kMostDpi},
    {"flatbed", "encoding", Choice, AT(m_flatbed.m_encoding), 0, 0, kEncodings},
    {"flatbed", "left", Dword, AT(m_flatbed.m_left), 0, kMostLength},
    {"flatbed", "top", Dword, AT(m_flatbed.m_top), 0, kMostLength},
    {"flatbed", "lid", Rgb, AT(m_lids[kFlatbed])},
    {"feeder", "dpi", Dpi, AT(m_pages.m_xDpi), 1, kMostDpi},
    {"feeder", "encoding", Choice, AT(m_pages.m_encoding), 0, 0, kEncodings},
    {"feeder", "left", Dword, AT(m_pages.m_left), 0, kMostLength},
    {"feeder", "lid", Rgb, AT(m_lids[kFeeder])},
    {"feeder", "sheets", Dword, AT(m_sheets), 0, 1000000},
    {"feeder", "measuresLength", Dword, AT(m_measuresLength), 0, 1},
    {"feeder", "duplexSwitch", Dword, AT(m_duplexSwitch), 0, 1},
    {"adapter", "lid", Rgb, AT(m_lids[kAdapter])},
    {"adapter", "film", Choice, AT(m_film), 0, 0, "slide negative "},
    {"slide", "dpi", Dpi, AT(m_slide.m_xDpi), 1, kMostDpi},
    {"slide", "encoding", Choice, AT(m_slide.m_encoding), 0, 0, kEncodings},
    {"slide", "left", Dword, AT(m_slide.m_left), 0, kMostLength},
    {"slide", "top", Dword, AT(m_slide.m_top), 0, kMostLength},
    {"negative", "dpi", Dpi, AT(m_negative.m_xDpi), 1, kMostDpi},
    {"negative", "encoding", Choice, AT(m_negative.m_encoding), 0, 0, kEncodings},
    {"negative", "left", Dword, AT(m_negative.m_left), 0, kMostLength},
    {"negative", "top", Dword, AT(m_negative.m_top), 0, kMostLength},

    // How it behaves.
    {"behaviour", "linesPerSecond", Dword, AT(m_linesPerSecond), 0, kMostLine},
    {"behaviour", "calibrationTime", Dword, AT(m_calibrationTime), 0, 600000},
    {"behaviour", "endAtLine", Dword, AT(m_endAtLine), 0, kMostLine},
    {"behaviour", "jamAtSheet", Dword, AT(m_jamAtSheet), 0, 1000000},
    {"behaviour", "jamAtLine", Dword, AT(m_jamAtLine), 0, kMostLine},
    {"behaviour", "hatchOpen", Dword, AT(m_hatchOpen), 0, 1},
    {"behaviour", "noise", Dword, AT(m_noise), 0, 128},
    {"behaviour", "seed", Dword, AT(m_seed)},
    {"behaviour", "record", Dword, AT(m_record), 0, 1},
};

#undef AT

}  // namespace

std::span<const CSettingRow> SettingRows() {
    return kRows;
}
