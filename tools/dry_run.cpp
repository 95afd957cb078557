#include "tools/dry_run.h"

#include <algorithm>
#include <cmath>
#include <iostream>

#include "platform/bitmap_headers.h"
#include "tools/json_text.h"
#include "tools/page_name.h"
#include "tools/page_report.h"
#include "tools/page_scale.h"
#include "tools/text_table.h"
#include "tools/text_values.h"

namespace {

const char* KindName(EFileKind kind) {
    constexpr std::pair<EFileKind, const char*> kNames[] = {
        {EFileKind::Bmp, "bmp"},   {EFileKind::Pnm, "pnm"},   {EFileKind::Png, "png"},
        {EFileKind::Jpeg, "jpeg"}, {EFileKind::Tiff, "tiff"}, {EFileKind::Pdf, "pdf"}};
    const auto* row = std::ranges::find(kNames, kind, &std::pair<EFileKind, const char*>::first);
    return row == std::end(kNames) ? "" : row->second;
}

// Tenths are enough for a person, and finer than a pixel only beyond 254 dots per inch.
double Millimeters(const ItemState& image, PROPID pixels, PROPID resolution) {
    constexpr double kMillimetersPerInch = 25.4;
    const double dpi = CDeviceProperties::Number(image, resolution).value_or(0);
    const double length = CDeviceProperties::Number(image, pixels).value_or(0);
    return dpi < 1 ? 0 : std::round(length * kMillimetersPerInch / dpi * 10) / 10;
}

CJson JsonOf(const ScanResolution& dpi) {
    return {{"x", dpi.across}, {"y", dpi.along}};
}

// The one order of all that is told.
CJson Describe(const ScanCommand& command, const CDeviceProperties& properties, int pages) {
    const ItemState& image = properties.Image();
    const PageOrigin origin = OriginOf(properties);
    const CPageScale scale = ScaleOf(properties, command.m_settings);
    const BITMAPINFOHEADER info = PageHeader(properties, scale);
    std::string ignored;
    const auto kind = FileKindOf(command.m_output.m_path, command.m_output.m_picture, &ignored);
    CJson json = {
        {"source", origin.source}, {"mode", origin.mode}, {"resolution", JsonOf(scale.m_result)}};
    if (scale.Reduces())
        json["reducedFrom"] = JsonOf(scale.m_scanned);
    json["window"] = {{"left", Millimeters(image, WIA_IPS_XPOS, WIA_IPS_XRES)},
                      {"top", Millimeters(image, WIA_IPS_YPOS, WIA_IPS_YRES)},
                      {"width", Millimeters(image, WIA_IPS_XEXTENT, WIA_IPS_XRES)},
                      {"height", Millimeters(image, WIA_IPS_YEXTENT, WIA_IPS_YRES)}};
    json["pixels"] = {{"width", info.biWidth}, {"height", info.biHeight}};
    json["bitsPerPixel"] = info.biBitCount;
    json["bytes"] = BitmapRowBytes(info.biWidth, info.biBitCount) * info.biHeight;
    json["pages"] = pages;
    json["file"] = CPageName(command.m_output.m_path).ForPage(command.m_job.m_start);
    json["format"] = kind ? KindName(*kind) : "";
    return json;
}

std::string Length(const CJson& json) {
    return ToText(json.get<double>());
}

}  // namespace

void PrintDryRun(const ScanCommand& command, const CDeviceProperties& properties, int pages) {
    constexpr double kMegabyte = 1e6;
    const CJson json = Describe(command, properties, pages);
    if (command.m_job.m_isJson) {
        PrintJson(std::cout, json);
        return;
    }
    const CPageScale scale = ScaleOf(properties, command.m_settings);
    const CJson& window = json["window"];
    char size[32];
    std::snprintf(size, sizeof(size), "%.1f MB", json["bytes"].get<double>() / kMegabyte);
    const std::string file = json["file"];
    PrintColumns(
        std::cout,
        {{"source", json["source"]},
         {"mode", json["mode"]},
         {"resolution",
          ResolutionWords(scale.m_result) + " dpi" +
              (scale.Reduces() ? ", reduced from " + ResolutionWords(scale.m_scanned) : "")},
         {"window", Length(window["width"]) + " x " + Length(window["height"]) + " mm, " +
                        Length(window["left"]) + " mm from the left, " + Length(window["top"]) +
                        " mm from the top"},
         {"picture", json["pixels"]["width"].dump() + " x " + json["pixels"]["height"].dump() +
                         " pixels of " + json["bitsPerPixel"].dump() + " bits, " + size +
                         " before packing"},
         {"pages", pages > 0 ? std::to_string(pages) : "all that are there"},
         {"file", (pages == 1                                        ? ""
                   : CPageName(command.m_output.m_path).IsNumbered() ? "from "
                                                                     : "all pages in ") +
                      file + " (" + std::string(json["format"]) + ')'}});
}
