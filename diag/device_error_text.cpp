// The toolkit's error numbers in words, for exit lines of the log. The numbers come in groups: 1 to
// 16 the device and its session, 100 to 105 the two kinds of feeder, 320 to 323 the transparency
// adapter, 500 the profile in the device. What they mean as results is the controller's business.
#include "diag/device_error_text.h"

#include <algorithm>
#include <iterator>

namespace {

struct DeviceErrorRow {
    DWORD error;
    const char* text;
};

constexpr DeviceErrorRow kDeviceErrors[] = {
    {0, "No Error"},
    {1, "Invalid Session"},
    {2, "Invalid Parameter Specified"},
    {3, "Scanner Not Found"},
    {4, "Scanner Not Locked"},
    {5, "Scanner Lock Failed"},
    {6, "Scanner Lamp is Off"},
    {7, "Scanner Calibration Failed"},
    {8, "Out of Memory"},
    {9, "Unknown Toolkit Error"},
    {10, "Method Not Implemented"},
    {11, "Scanner carriage failed to return home"},
    {12, "Scanner communication failure"},
    {13, "Toolkit open failure"},
    {14, "Invalid HW Property"},
    {15, "Unexpected end of media"},
    {16, "Cancel button pressed"},
    {100, "ADF is Jammed"},
    {101, "ADF is empty"},
    {102, "ADF unexpected end of page"},
    {103, "ADF hatch is open"},
    {104, "APF is jammed"},
    {105, "APF communication error or checksum error"},
    {320, "TMA: Backing not removed"},
    {321, "TMA: Missing template"},
    {322, "TMA: Not plugged in"},
    {323, "TMA: Device busy"},
    {500, "Device does not support firmware spf files"},
};

}  // namespace

const char* DeviceErrorText(DWORD error) {
    const auto* row =
        std::find_if(std::begin(kDeviceErrors), std::end(kDeviceErrors),
                     [error](const DeviceErrorRow& known) { return known.error == error; });
    return row == std::end(kDeviceErrors) ? "no definition" : row->text;
}

void LogDeviceError(CLog& log, const char* operation, HRESULT result, DWORD error) noexcept {
    log.Format(kLogInformation, "%s failed %x, OstrelError=%s (%d)", operation, result,
               DeviceErrorText(error), error);
}
