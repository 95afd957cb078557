// The operations of the published interface. Each is there under two names, that of the interface
// and that by which the back end is told from others in one program; none calls another by name,
// since the program may have a library of the same names.

#include <sane/sane.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <iterator>
#include <memory>

#include "sane-backend/debug.h"
#include "sane-backend/device_list.h"
#include "sane-backend/scanner_handle.h"

namespace {

constexpr SANE_Int kBuild = 1;
constexpr std::size_t kMostHandles = 256;

std::atomic<bool> g_isOn = false;
// Open scanners. A cancel looks through them without a lock, since it may come from a signal's
// handler.
std::array<std::atomic<CScannerHandle*>, kMostHandles> g_handles = {};

CDeviceList& TheList() {
    static auto& list = *new CDeviceList;
    return list;
}

// Null for what is no open scanner.
CScannerHandle* Known(SANE_Handle handle) {
    if (!handle)
        return nullptr;
    const auto* found = std::ranges::find_if(
        g_handles, [handle](const auto& known) { return known.load() == handle; });
    return found == std::end(g_handles) ? nullptr : static_cast<CScannerHandle*>(handle);
}

bool Keep(CScannerHandle* handle) {
    return std::ranges::any_of(g_handles, [handle](auto& place) {
        CScannerHandle* free = nullptr;
        return place.compare_exchange_strong(free, handle);
    });
}

void Close(CScannerHandle* handle) {
    const bool isOurs = std::ranges::any_of(g_handles, [handle](auto& place) {
        CScannerHandle* known = handle;
        return place.compare_exchange_strong(known, nullptr);
    });
    const std::unique_ptr<CScannerHandle> ended(isOurs ? handle : nullptr);
}

constexpr const char* kStatusTexts[] = {"Success",
                                        "Operation not supported",
                                        "Operation was cancelled",
                                        "Device busy",
                                        "Invalid argument",
                                        "End of file reached",
                                        "Document feeder jammed",
                                        "Document feeder out of documents",
                                        "Scanner cover is open",
                                        "Error during device I/O",
                                        "Out of memory",
                                        "Access to resource has been denied"};

const char* TextOf(SANE_Status status) {
    const auto number = static_cast<std::size_t>(status);
    return number < std::size(kStatusTexts) ? kStatusTexts[number] : "Unknown status";
}

// What may be thrown in here is a want of memory.
template <class Body>
SANE_Status Guarded(const char* what, Body body) {
    try {
        const SANE_Status status = g_isOn ? body() : SANE_STATUS_INVAL;
        Debug(EDebug::Calls, what, ": ", TextOf(status));
        return status;
    } catch (const std::exception& failure) {
        Debug(EDebug::Failures, failure.what());
        return SANE_STATUS_NO_MEM;
    }
}

// The same for an operation on an open scanner.
template <class Body>
SANE_Status OnScanner(const char* what, SANE_Handle handle, Body body) {
    return Guarded(what, [&] {
        CScannerHandle* scanner = Known(handle);
        return scanner ? body(*scanner) : SANE_STATUS_INVAL;
    });
}

SANE_Status Open(const char* name, SANE_Handle* handle) {
    // Programs may open a scanner that they know without asking for the list. One that they were
    // given stays.
    CDeviceList list;
    if (const SANE_Status status = list.Renew(); status != SANE_STATUS_GOOD)
        return status;
    const std::string number = list.Find(name ? name : "");
    if (number.empty())
        return SANE_STATUS_INVAL;
    auto scanner = std::make_unique<CScannerHandle>(number);
    if (const SANE_Status status = scanner->Open(); status != SANE_STATUS_GOOD)
        return status;
    if (!Keep(scanner.get()))
        return SANE_STATUS_NO_MEM;
    *handle = scanner.release();
    return SANE_STATUS_GOOD;
}

}  // namespace

// Declares an operation under its second name, and defines it under the first one.
#define NVQ_OPERATION(result, name, parameters)                                         \
    extern "C" result sane_##name parameters __attribute__((alias("sane_nvq_" #name))); \
    extern "C" result sane_nvq_##name parameters

NVQ_OPERATION(SANE_Status, init, (SANE_Int * version, SANE_Auth_Callback)) {
    if (version)
        *version = SANE_VERSION_CODE(SANE_CURRENT_MAJOR, SANE_CURRENT_MINOR, kBuild);
    g_isOn = true;
    return SANE_STATUS_GOOD;
}

NVQ_OPERATION(void, exit, ()) {
    for (auto& place : g_handles) {
        if (CScannerHandle* handle = place.load())
            Close(handle);
    }
    g_isOn = false;
}

NVQ_OPERATION(SANE_Status, get_devices, (const SANE_Device*** list, SANE_Bool)) {
    return Guarded("get_devices", [&] {
        if (!list)
            return SANE_STATUS_INVAL;
        const SANE_Status status = TheList().Renew();
        *list = TheList().Rows();
        return status;
    });
}

NVQ_OPERATION(SANE_Status, open, (SANE_String_Const name, SANE_Handle* handle)) {
    return Guarded("open", [&] {
        if (!handle)
            return SANE_STATUS_INVAL;
        *handle = nullptr;
        return Open(name, handle);
    });
}

NVQ_OPERATION(void, close, (SANE_Handle handle)) {
    if (CScannerHandle* known = Known(handle))
        Close(known);
}

NVQ_OPERATION(const SANE_Option_Descriptor*, get_option_descriptor,
              (SANE_Handle handle, SANE_Int option)) {
    const CScannerHandle* known = Known(handle);
    return known ? known->Describe(option) : nullptr;
}

NVQ_OPERATION(SANE_Status, control_option,
              (SANE_Handle handle, SANE_Int option, SANE_Action action, void* value,
               SANE_Int* info)) {
    return OnScanner("control_option", handle, [&](CScannerHandle& scanner) {
        return scanner.Control(option, action, value, info);
    });
}

NVQ_OPERATION(SANE_Status, get_parameters, (SANE_Handle handle, SANE_Parameters* parameters)) {
    return OnScanner("get_parameters", handle, [&](CScannerHandle& scanner) {
        if (!parameters)
            return SANE_STATUS_INVAL;
        *parameters = scanner.Parameters();
        return SANE_STATUS_GOOD;
    });
}

NVQ_OPERATION(SANE_Status, start, (SANE_Handle handle)) {
    return OnScanner("start", handle, [](CScannerHandle& scanner) { return scanner.Start(); });
}

NVQ_OPERATION(SANE_Status, read,
              (SANE_Handle handle, SANE_Byte* data, SANE_Int most, SANE_Int* length)) {
    return OnScanner("read", handle, [&](CScannerHandle& scanner) {
        if (!data || !length)
            return SANE_STATUS_INVAL;
        return scanner.Read(data, most, *length);
    });
}

NVQ_OPERATION(void, cancel, (SANE_Handle handle)) {
    if (CScannerHandle* known = Known(handle))
        known->Cancel();
}

NVQ_OPERATION(SANE_Status, set_io_mode, (SANE_Handle handle, SANE_Bool isNonBlocking)) {
    return OnScanner("set_io_mode", handle, [&](CScannerHandle& scanner) {
        return scanner.SetIoMode(isNonBlocking != SANE_FALSE);
    });
}

NVQ_OPERATION(SANE_Status, get_select_fd, (SANE_Handle handle, SANE_Int* fd)) {
    return OnScanner("get_select_fd", handle, [&](CScannerHandle& scanner) {
        return fd ? scanner.SelectFd(*fd) : SANE_STATUS_INVAL;
    });
}

NVQ_OPERATION(SANE_String_Const, strstatus, (SANE_Status status)) {
    return TextOf(status);
}
