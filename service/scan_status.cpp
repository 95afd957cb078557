#include "service/scan_status.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <set>
#include <vector>

#include "platform/told_lines.h"
#include "platform/wia.h"

namespace {

// By kind; the first of equal codes counts.
struct ResultRow {
    std::uint32_t code;
    const char* text;
};

constexpr ResultRow kResults[] = {
    {0x80004001, "not supported"},
    {0x80004002, "the component lacks an interface that is needed"},
    {0x80004003, "an internal error: a pointer is missing"},
    {0x80004005, "an unspecified error"},
    {0x8000FFFF, "an unexpected answer"},
    {0x80030005, "can't be written"},
    {0x8007000E, "there is not enough memory"},
    {0x80070057, "the value isn't valid"},
    // Components
    {0x80040110, "the component can't be part of another"},
    {0x80040111, "the module doesn't know the class"},
    {0x80040150, "the registry can't be read"},
    {0x80040154, "the class isn't registered"},
    {0x800401F3, "this is no class identifier"},
    {0x800401F8, "the module can't be loaded"},
    {0x800401F9, "the module exports no class object"},
    // The scanner, as the driver passes on what its toolkit reports
    {0x80040001, "the scanner refused: a setting doesn't fit, or its lamp is off"},
    {0x80040002, "the scanner lacks this function"},
    {0x80040003, "the scanner was not found; it may be switched off or not connected"},
    {0x80040004, "the scanner's carriage did not return home"},
    {0x80040006, "the scanner is in use by another program"},
    {0x80040007, "the connection to the scanner failed"},
    {0x80040008, "the scanner can't be opened"},
    {0x80040009, "the scan was cancelled at the scanner"},
    {0x8004000A, "paper is jammed in the document feeder"},
    {0x8004000B, "the scanner could not be calibrated"},
    {0x80040005, "the scanner could not be calibrated with the transparency adapter"},
    {0x8004000D, "the scanner reports an error"},
    {0x8004000E, "the hatch of the document feeder is open"},
    {0x8004000F, "the document feeder is empty"},
    {0x80040010, "paper is jammed in the photo feeder"},
    {0x80040011, "the photo feeder does not answer properly"},
    {0x80040012, "the document feeder is empty"},
    {0x80040016, "the document feeder can't keep a sheet for another scan behind a preview"},
    {0x80040017, "the palette has no colours: \"Palette Colors\" holds 1 to 256 for it"},
    // Imaging
    {0x80210001, "a general error of the device"},
    {0x80210003, "the document feeder is empty"},
    {0x80210006, "the device is busy with a scan"},
    {0x80210009, "the item is gone; the device must be opened again"},
    {0x8021000F, "the driver gave an answer that makes no sense"},
    // System
    {0x80070002, "there is no such file or key"},
    {0x80070003, "there is no such folder"},
    {0x80070005, "access is denied"},
    {0x80070006, "the handle isn't valid"},
    {0x80070008, "there is not enough memory"},
    {0x8007001D, "writing failed"},
    {0x8007001E, "reading failed"},
    {0x80070021, "the scanner is in use by another program"},
    {0x80070032, "not supported"},
    {0x80070050, "the file is there already"},
    {0x80070070, "the disk is full"},
    {0x8007007E, "the module can't be loaded"},
    {0x8007007F, "the module doesn't export the function"},
    {0x800700DF, "the picture is too large for a bitmap file, which ends at 2 gigabytes"},
    {0x80070103, "there is nothing more"},
    {0x800703F1, "the registry's file is damaged"},
    {0x800704C7, "cancelled"},
};

// These say no more than that it failed; a cause in words says all.
bool SaysLittle(HRESULT code) {
    constexpr std::uint32_t kSayLittle[] = {0x80004005, 0x80040003, 0x80040007,
                                            0x80040008, 0x8004000D, 0x80210001};
    constexpr std::uint32_t kSystem = 0x8007;
    constexpr std::uint32_t kInUse = 0x80070021;
    const auto number = static_cast<std::uint32_t>(code);
    return (number >> 16 == kSystem && number != kInUse) ||
           std::find(std::begin(kSayLittle), std::end(kSayLittle), number) != std::end(kSayLittle);
}

// The cause in place of the words of the code, or behind them.
void AddCause(const std::string& cause, ScanStatus& status) {
    const std::string words = ResultText(status.code);
    if (SaysLittle(status.code) && status.text.ends_with(words))
        status.text.erase(status.text.size() - words.size());
    else
        status.text += ": ";
    status.text += cause;
}

// True at the first time.
bool IsNew(const std::string& warning) {
    static auto& lock = *new std::mutex;
    static auto& told = *new std::set<std::string>;
    const std::lock_guard guard(lock);
    return told.insert(warning).second;
}

}  // namespace

// What isn't in the table is told by its facility: 0x8004 are the driver's own, 0x8007 the
// system's.
std::string ResultText(HRESULT code) {
    if (SUCCEEDED(code))
        return "success";
    const auto* row = std::find_if(std::begin(kResults), std::end(kResults), [&](const auto& r) {
        return r.code == static_cast<std::uint32_t>(code);
    });
    if (row != std::end(kResults))
        return row->text;
    const auto facility = static_cast<std::uint32_t>(code) >> 16;
    const char* kind = facility == 0x8004   ? "the scanner reports error 0x%08X"
                       : facility == 0x8007 ? "the system reports error 0x%08X"
                                            : "error 0x%08X";
    char text[64];
    std::snprintf(text, sizeof(text), kind, static_cast<unsigned>(code));
    return text;
}

ScanStatus StatusOf(HRESULT code, const std::string& what) {
    if (SUCCEEDED(code))
        return {code, {}};
    return {code, what + ": " + ResultText(code)};
}

ScanStatus Explained(const std::function<ScanStatus()>& operation, const Notice& notice) {
    const CToldLines told;
    ScanStatus status = operation();
    std::vector<std::string> warnings = told.Warnings();
    if (!told.Cause().empty()) {
        if (status.Ok())
            warnings.push_back(told.Cause());
        else
            AddCause(told.Cause(), status);
    }
    for (const std::string& warning : warnings) {
        if (notice && IsNew(warning))
            notice(warning);
    }
    return status;
}

bool IsEmptyFeeder(HRESULT code) {
    constexpr HRESULT kEmpty = MakeResult(0x8004000Fu);
    constexpr HRESULT kEmptyWithoutGlass = MakeResult(0x80040012u);
    return code == WIA_ERROR_PAPER_EMPTY || code == kEmpty || code == kEmptyWithoutGlass;
}

ScanStatus CancelledScan() {
    return {S_FALSE, "the scan was cancelled"};
}
