// The imaging service for programs: devices, items, properties, scans and button events.
//
//     class Page : public IScanSink { ... };            // scan_sink.h; page_reader.h for pulling
//
//     CScanClient client([](const std::string& line) { std::cerr << line << '\n'; });
//     CScanDevice device;
//     ScanStatus status = client.Open("", device);      // the first device
//     if (status.Ok())
//         status = device.Write("Top", {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE},
//                                       {WIA_IPS_XRES, 300}, {WIA_IPS_YRES, 300}});
//     Page page;
//     int scanned = 0;
//     if (status.Ok())
//         status = device.Scan("Top", {}, page, &scanned);
//     if (!status.Ok())
//         std::cerr << status.text << '\n';
//
// The service runs in the program: it loads the device's driver by its class identifier, and gives
// it the surroundings that it expects. Devices are installed in the user's registry (install.h).
//
// Threads. Everything here may be called from any thread. Operations on a device wait for each
// other, so that its driver sees one call at a time; a scan is one operation, however many pages it
// has. From inside a sink, and while a page reader's scan runs, they answer WIA_ERROR_BUSY instead.
// Event handlers run beside all that, on a thread of the service.
//
// Results. No operation throws. A failure has a result code, the driver's own where it comes from
// there, and a line for people. After a failure the device stays usable.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "service/scan_event.h"
#include "service/scan_property.h"
#include "service/scan_sink.h"
#include "service/scan_status.h"

class CDeviceHost;
class CDeviceSession;

struct ScanDeviceInfo {
    std::string number;  // "0000"
    std::string id;      // "{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}\0000"
    std::string name;
    std::string vendor;
    std::string port;
    std::string driverModule;
    std::string fault;  // why it can't be used; empty if nothing speaks against it
};

// A command or an event that a driver offers.
struct ScanCapability {
    GUID guid = GUID_NULL;
    std::string name;
};

struct ScanOptions {
    // Pages of a feeder job, 0 for all that are there, or as the property "Pages" says. Without the
    // feeder selected there is one.
    int pages = -1;
    // Set from any thread or a signal's handler to cancel; it must live as long as the scan. The
    // driver hears of it at its next message, a wait for the scanner or its lamp ends at once.
    const std::atomic<bool>* cancel = nullptr;
    // Also gets the pages, in the same order of calls, as the device delivered them: 8 or 24 bits
    // of linear light a pixel in most devices, before anything was made of them. Lines behind the
    // end of the media are missing. It must live as long as the scan.
    IScanSink* input = nullptr;
    // Other operations on the device answer WIA_ERROR_BUSY while the scan runs, instead of waiting
    // for its end: for a sink that waits for somebody who may come with one.
    bool refusesOthers = false;
};

// An open device. Items are told by full name or by name ("Root", "Top"); an empty name means the
// first item that holds an image. Its properties are this client's own.
class CScanDevice {
  public:
    CScanDevice();
    ~CScanDevice();
    CScanDevice(CScanDevice&&) noexcept;
    CScanDevice& operator=(CScanDevice&&) noexcept;

    // Also true for a device whose scanner doesn't answer any more.
    bool IsOpen() const { return m_session != nullptr; }
    // At once; for the driver it ends behind a scan that is under way.
    void Close();

    // Root first.
    ScanStatus Items(std::vector<ScanItem>& items) const;

    // Properties with names, access and valid values; the driver asks the device for those that
    // only it knows. All of the item's for an empty list. E_INVALIDARG for an id that it doesn't
    // have.
    ScanStatus Read(const std::string& item, const std::vector<PROPID>& ids,
                    std::vector<ScanProperty>& properties) const;

    // One write of any number of values. Each is checked against access (STG_E_ACCESSDENIED), type,
    // size and valid values (E_INVALIDARG) before any is written; then the driver validates them
    // together and makes the others fit. If it refuses, all values and valid values are as they
    // were before. Valid values are those before the write: what fits only after another change,
    // such as a window at a new resolution, is written behind it.
    ScanStatus Write(const std::string& item, const std::vector<PropertyWrite>& writes);

    // What the write would make of the item: `made` gets all its properties. Nothing is kept.
    ScanStatus Try(const std::string& item, const std::vector<PropertyWrite>& writes,
                   std::vector<ScanProperty>& made);

    // Scans with the properties as they are, by the medium that "Media Type" says. `scanned`, which
    // may be null, gets the count of whole pages, also when a later one failed. S_FALSE: cancelled,
    // by the sink, the options' flag or the driver. An empty feeder ends a job; when there was no
    // page at all, it is a code of IsEmptyFeeder. A page that the scanner broke off ends the scan
    // with its ScanPage::result and isn't counted; kCancelledAtScanner is the scanner's cancel
    // button.
    ScanStatus Scan(const std::string& item, const ScanOptions& options, IScanSink& sink,
                    int* scanned = nullptr);

    // As the driver lists them. WIA_ERROR_INVALID_DRIVER_RESPONSE for a list that makes no sense.
    ScanStatus Commands(std::vector<ScanCapability>& commands) const;
    ScanStatus Events(std::vector<ScanCapability>& events) const;
    // Has the driver build its items anew, with all properties at their defaults. Other clients of
    // the device in this program get WIA_ERROR_ITEM_DELETED from then on.
    ScanStatus Synchronize();

  private:
    friend class CPageReader;
    friend class CScanClient;
    std::shared_ptr<CDeviceSession> m_session;
};

// Events come while it lives. Its end waits for a handler that is running, unless it is ended by
// the handler itself.
class CScanSubscription {
  public:
    CScanSubscription();
    ~CScanSubscription();
    CScanSubscription(CScanSubscription&& other) noexcept;
    CScanSubscription& operator=(CScanSubscription&& other) noexcept;

    void End();

  private:
    friend class CScanClient;
    std::shared_ptr<CDeviceHost> m_host;
    int m_id = 0;
};

class CScanClient {
  public:
    // Notices of a device are told to the first client that uses it; a wait for the scanner or its
    // lamp is told to the client that waits, from inside the operation, which the notice may not
    // call into. `cancel` is as in ScanOptions, for every operation on a device: a scan ends as one
    // that was cancelled, and another operation, while it waits for the scanner, with
    // kCancelledWait. `patience` is how long an operation on an open device that is no scan waits
    // for a scanner in use, before it ends with the driver's code for that.
    explicit CScanClient(Notice notice = {}, const std::atomic<bool>* cancel = nullptr,
                         std::chrono::milliseconds patience = std::chrono::seconds(60))
        : m_notice(std::move(notice)), m_cancel(cancel), m_patience(patience) {}

    // In the order of their numbers; none is no failure. Listing and opening install nothing.
    ScanStatus ListDevices(std::vector<ScanDeviceInfo>& devices) const;

    // `which`: a device's number, identifier, name or port; empty for the first. Without any it is
    // 0x80070103. A driver that can't be loaded or initialised is told in the text and released:
    // the next call tries again with a new one.
    ScanStatus Open(const std::string& which, CScanDevice& device) const;

    // E_NOTIMPL for a device without events.
    ScanStatus Subscribe(const std::string& which, EventHandler handler,
                         CScanSubscription& subscription) const;

  private:
    Notice m_notice;
    const std::atomic<bool>* m_cancel;
    std::chrono::milliseconds m_patience;
};
