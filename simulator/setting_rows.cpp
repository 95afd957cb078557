#include "simulator/setting_rows.h"

#include "simulator/settings.h"

namespace {

using enum ESetting;

// A row's place; all of them stand in one plain record.
#define AT(member) offsetof(CNumbers, member)

// Bounds that keep later products within their types: lengths are 1/300 inch.
constexpr std::uint32_t kMostLength = 12000;  // 40 inches
constexpr std::uint32_t kMostDpi = 9600;
constexpr std::uint32_t kMostLine = 1000000;
constexpr const char* kEncodings = "linear srgb negative ";

// A record's fields need no words here: they have them in the toolkit's records.
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
    {"compression", "supportedTypes", Dword, AT(m_compression.supportedTypes), 1, 1, nullptr, "1",
     "uncompressed"},
    {"compression", "defaultType", Dword, AT(m_compression.defaultType), 1, 1, nullptr, "1",
     "uncompressed"},
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
    {"lamp", "timeout", Dword, AT(m_lampTimeout), 1, 60 * 24, nullptr, "15",
     "minutes without use after which a lamp goes out"},
    {"properties", "CurrentLampOn", Dword, AT(m_hasCurrentLampOn), 0, 1, nullptr, nullptr,
     "1: the device tells which lamp burns"},
    {"properties", "ADF", Dword, AT(m_hasAdfProperty), 0, 1, nullptr, nullptr,
     "1: it tells whether the feeder is attached"},
    {"properties", "XPA", Dword, AT(m_hasXpaProperty), 0, 1, nullptr, nullptr,
     "1: it tells whether the adapter is attached"},
    {"jobGate", "state", Dword, AT(m_jobGateState), 0, 0xFFFFFFFFu, nullptr, "2",
     "what an open gate tells: 2 ready, 3 open, 1 closed"},
    {"pendingTask", "waiting", Dword, AT(m_pendingTask), 0, 1, nullptr, nullptr,
     "1: a task waits at first"},
    {"buttons", "count", Dword, AT(m_buttons), 0, sizeof(CNumbers::m_buttonBytes), nullptr, nullptr,
     "buttons of the device"},
    {"buttons", "report", Choice, AT(m_report), kReportPoll, 0, "poll pipe both ", "both",
     "how presses reach a program"},
    {"buttons", "bytes", ByteList, AT(m_buttonBytes), 0, sizeof(CNumbers::m_buttonBytes), nullptr,
     "1,2,4,8,16,32,64,128,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31",
     "what each button sends through the pipe"},

    // What lies on it.
    {"flatbed", "dpi", Dpi, AT(m_flatbed.m_xDpi), 1, kMostDpi, nullptr, nullptr,
     "of the picture; without it as the file says, else 300"},
    {"flatbed", "encoding", Choice, AT(m_flatbed.m_encoding), 0, 0, kEncodings, nullptr,
     "what its values stand for"},
    {"flatbed", "left", Dword, AT(m_flatbed.m_left), 0, kMostLength, nullptr, nullptr,
     "where it lies, 1/300 inch"},
    {"flatbed", "top", Dword, AT(m_flatbed.m_top), 0, kMostLength, nullptr, nullptr,
     "the same from the top"},
    {"flatbed", "lid", Rgb, AT(m_lids[kFlatbed]), 0, 0, nullptr, "236,236,234",
     "what is around it"},
    {"feeder", "dpi", Dpi, AT(m_pages.m_xDpi), 1, kMostDpi, nullptr, nullptr, "of all pages"},
    {"feeder", "encoding", Choice, AT(m_pages.m_encoding), 0, 0, kEncodings, nullptr,
     "of all pages"},
    {"feeder", "left", Dword, AT(m_pages.m_left), 0, kMostLength, nullptr, nullptr,
     "where pages lie, 1/300 inch"},
    {"feeder", "lid", Rgb, AT(m_lids[kFeeder]), 0, 0, nullptr, "40,40,40", "what is around a page"},
    {"feeder", "sheets", Dword, AT(m_sheets), 0, 1000000, nullptr, "3", "in a full tray"},
    {"feeder", "measuresLength", Dword, AT(m_measuresLength), 0, 1, nullptr, nullptr,
     "1: feeding tells the page's length"},
    {"feeder", "duplexSwitch", Dword, AT(m_duplexSwitch), 0, 1, nullptr, nullptr,
     "1: the switch is at duplex at first"},
    {"adapter", "lid", Rgb, AT(m_lids[kAdapter]), 0, 0, nullptr, "4,4,4", "the holder of the film"},
    {"adapter", "film", Choice, AT(m_film), 0, 0, "slide negative ", nullptr,
     "which of the two lies in it at first"},
    {"slide", "dpi", Dpi, AT(m_slide.m_xDpi), 1, kMostDpi, nullptr, nullptr, "of the picture"},
    {"slide", "encoding", Choice, AT(m_slide.m_encoding), 0, 0, kEncodings, nullptr,
     "what its values stand for"},
    {"slide", "left", Dword, AT(m_slide.m_left), 0, kMostLength, nullptr, nullptr,
     "where it lies, 1/300 inch"},
    {"slide", "top", Dword, AT(m_slide.m_top), 0, kMostLength, nullptr, nullptr,
     "the same from the top"},
    {"negative", "dpi", Dpi, AT(m_negative.m_xDpi), 1, kMostDpi, nullptr, nullptr,
     "of the picture"},
    {"negative", "encoding", Choice, AT(m_negative.m_encoding), 0, 0, kEncodings, nullptr,
     "what its values stand for"},
    {"negative", "left", Dword, AT(m_negative.m_left), 0, kMostLength, nullptr, nullptr,
     "where it lies, 1/300 inch"},
    {"negative", "top", Dword, AT(m_negative.m_top), 0, kMostLength, nullptr, nullptr,
     "the same from the top"},

    // How it behaves.
    {"behaviour", "linesPerSecond", Dword, AT(m_linesPerSecond), 0, kMostLine, nullptr, nullptr,
     "speed of the carriage; 0: as fast as it can"},
    {"behaviour", "calibrationTime", Dword, AT(m_calibrationTime), 0, 600000, nullptr, nullptr,
     "milliseconds"},
    {"behaviour", "endAtLine", Dword, AT(m_endAtLine), 0, kMostLine, nullptr, nullptr,
     "the medium ends behind this line of each scan; 0: never"},
    {"behaviour", "jamAtSheet", Dword, AT(m_jamAtSheet), 0, 1000000, nullptr, nullptr,
     "this sheet jams when it is fed; 0: none"},
    {"behaviour", "jamAtLine", Dword, AT(m_jamAtLine), 0, kMostLine, nullptr, nullptr,
     "a sheet jams behind this line; 0: never"},
    {"behaviour", "hatchOpen", Dword, AT(m_hatchOpen), 0, 1, nullptr, nullptr,
     "1: the feeder's hatch is open at first"},
    {"behaviour", "noise", Dword, AT(m_noise), 0, 128, nullptr, nullptr,
     "largest error of the sensor, in steps of 8 bits"},
    {"behaviour", "seed", Dword, AT(m_seed), 0, 0, nullptr, nullptr,
     "of the noise; the same in each scan"},
    {"behaviour", "record", Dword, AT(m_record), 0, 1, nullptr, nullptr,
     "1: every call goes to calls.log"},
};

#undef AT

}  // namespace

std::span<const CSettingRow> SettingRows() {
    return kRows;
}

// Rows of flags say nothing: every bit that the field has may be set.
std::uint32_t LargestOf(const CSettingRow& row) {
    if (row.most != 0)
        return row.most;
    switch (row.kind) {
        case ESetting::Byte:
            return 0xFF;
        case ESetting::Word:
            return 0xFFFF;
        default:
            return 0xFFFFFFFFu;
    }
}
