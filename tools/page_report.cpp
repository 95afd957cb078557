#include "tools/page_report.h"

#include <algorithm>
#include <string_view>

#include "engine/private_properties.h"
#include "platform/bitmap_headers.h"
#include "platform/wia.h"
#include "service/scan_settings.h"
#include "tools/json_text.h"

namespace {

constexpr std::pair<ScanMode, const char*> kModes[] = {{ScanMode::Color, "color"},
                                                       {ScanMode::Gray, "gray"},
                                                       {ScanMode::LineArt, "lineart"},
                                                       {ScanMode::Dithered, "dither"}};

// Of a mode's word what people read, where that is another.
using CShownMode = std::pair<std::string_view, const char*>;
constexpr CShownMode kShownModes[] = {{"color", "colour"},
                                      {"lineart", "line art"},
                                      {"dither", "dots"},
                                      {"indexed", "indexed colours"}};

LONG RootNumber(const CDeviceProperties& properties, PROPID id) {
    return CDeviceProperties::Number(properties.Root(), id).value_or(0);
}

}  // namespace

std::string PageLine(const PageReport& report, const PageOrigin& origin) {
    const BITMAPINFOHEADER& info = report.info;
    const auto* shown = std::ranges::find(kShownModes, origin.mode, &CShownMode::first);
    const std::string kind = shown == std::end(kShownModes) ? origin.mode : shown->second;
    const ScanResolution dpi(DotsPerInch(info.biXPelsPerMeter), DotsPerInch(info.biYPelsPerMeter));
    return report.file + ": page " + std::to_string(report.page) + ", " + kind + ", " +
           std::to_string(info.biWidth) + " x " + std::to_string(info.biHeight) + " pixels at " +
           ResolutionWords(dpi) + " dpi" +
           (report.reducedFrom ? ", reduced from " + ResolutionWords(*report.reducedFrom) : "") +
           (FAILED(report.result) ? ", incomplete" : "");
}

// A palette makes colour an indexed picture. The adapter goes ahead of glass and feeder.
PageOrigin OriginOf(const CDeviceProperties& properties) {
    const auto root = [&](PROPID id) { return RootNumber(properties, id); };
    const auto image = [&](PROPID id) {
        return CDeviceProperties::Number(properties.Image(), id).value_or(0);
    };
    const LONG select = root(WIA_DPS_DOCUMENT_HANDLING_SELECT);
    PageOrigin origin;
    if (root(QL_PROP_TMA_SELECT) != 0)
        origin.source = image(QL_PROP_TMA_METHOD) != 0 ? "negative" : "slide";
    else
        origin.source = (select & DUPLEX) != 0   ? "duplex"
                        : (select & FEEDER) != 0 ? "feeder"
                                                 : "flatbed";
    const auto type = image(WIA_IPA_DATATYPE);
    const auto* mode = std::ranges::find_if(
        kModes, [type](const auto& row) { return DataTypeOf(row.first) == type; });
    if (mode != std::end(kModes))
        origin.mode = mode->first == ScanMode::Color && image(QL_PROP_PALETTE) != 0 ? "indexed"
                                                                                    : mode->second;
    return origin;
}

std::string PageJson(const PageReport& report, const PageOrigin& origin) {
    const BITMAPINFOHEADER& info = report.info;
    CJson json = {
        {"file", report.file},
        {"page", report.page},
        {"pixels", {{"width", info.biWidth}, {"height", info.biHeight}}},
        {"resolution",
         {{"x", DotsPerInch(info.biXPelsPerMeter)}, {"y", DotsPerInch(info.biYPelsPerMeter)}}},
        {"source", origin.source},
        {"mode", origin.mode},
        {"result", static_cast<ULONG>(report.result)},
    };
    if (report.reducedFrom)
        json["reducedFrom"] = {{"x", report.reducedFrom->across}, {"y", report.reducedFrom->along}};
    return JsonLine(json);
}

std::string FeederLack(const CDeviceProperties& properties) {
    const auto root = [&](PROPID id) { return RootNumber(properties, id); };
    const bool isFeeder = root(QL_PROP_TMA_SELECT) == 0 &&
                          (root(WIA_DPS_DOCUMENT_HANDLING_SELECT) & (FEEDER | DUPLEX)) != 0;
    const bool seesPaper = (root(WIA_DPS_DOCUMENT_HANDLING_CAPABILITIES) & DETECT_FEED) != 0;
    const bool hasPaper = (root(WIA_DPS_DOCUMENT_HANDLING_STATUS) & FEED_READY) != 0;
    return isFeeder && seesPaper && !hasPaper
               ? "the feeder is empty; with a sheet in it, resolution and window can be others"
               : "";
}
