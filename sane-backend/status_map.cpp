#include "sane-backend/status_map.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "sane-backend/debug.h"

namespace {

struct StatusRow {
    std::uint32_t code;
    SANE_Status status;
};

// What isn't here is an error of the device: not found, unplugged, out of order.
constexpr StatusRow kStatuses[] = {
    {0x00000000, SANE_STATUS_GOOD},          {0x00000001, SANE_STATUS_CANCELLED},
    {0x80040009, SANE_STATUS_CANCELLED},  // at the scanner
    {0x800704C7, SANE_STATUS_CANCELLED},  // a wait for it
    {0x8004000A, SANE_STATUS_JAMMED},        {0x80040010, SANE_STATUS_JAMMED},
    {0x8004000E, SANE_STATUS_COVER_OPEN},    {0x8004000F, SANE_STATUS_NO_DOCS},
    {0x80040012, SANE_STATUS_NO_DOCS},       {0x80210003, SANE_STATUS_NO_DOCS},
    {0x80040006, SANE_STATUS_DEVICE_BUSY},   {0x80070021, SANE_STATUS_DEVICE_BUSY},
    {0x80210006, SANE_STATUS_DEVICE_BUSY},   {0x80030005, SANE_STATUS_ACCESS_DENIED},
    {0x80070005, SANE_STATUS_ACCESS_DENIED}, {0x80004001, SANE_STATUS_UNSUPPORTED},
    {0x80070032, SANE_STATUS_UNSUPPORTED},   {0x80040002, SANE_STATUS_UNSUPPORTED},
    {0x80040016, SANE_STATUS_UNSUPPORTED},  // a preview of a sheet that can't be kept
    {0x80070057, SANE_STATUS_INVAL},         {0x80040001, SANE_STATUS_INVAL},
    {0x80070103, SANE_STATUS_INVAL},         {0x8007000E, SANE_STATUS_NO_MEM},
    {0x80070008, SANE_STATUS_NO_MEM},
};

}  // namespace

SANE_Status SaneStatusOf(HRESULT code) {
    const auto* row =
        std::ranges::find(kStatuses, static_cast<std::uint32_t>(code), &StatusRow::code);
    if (row != std::end(kStatuses))
        return row->status;
    return SUCCEEDED(code) ? SANE_STATUS_GOOD : SANE_STATUS_IO_ERROR;
}

SANE_Status Told(const ScanStatus& status) {
    if (!status.Ok())
        Debug(EDebug::Failures, status.text);
    return SaneStatusOf(status.code);
}
