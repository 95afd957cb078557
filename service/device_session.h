// One client's use of a device: items with properties of its own, on the driver object that all
// clients of the device share.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "service/caller_watch.h"
#include "service/device_host.h"
#include "service/item_context.h"
#include "service/scan_client.h"

// The operations are those of CScanDevice (scan_client.h), which tells what they mean.
class CDeviceSession {
  public:
    // Loads the driver at need. Nothing of a session that fails stays in the driver.
    static ScanStatus Open(std::shared_ptr<CDeviceHost> host, CallerInfo caller,
                           std::shared_ptr<CDeviceSession>& session);
    ~CDeviceSession();
    CDeviceSession(const CDeviceSession&) = delete;
    CDeviceSession& operator=(const CDeviceSession&) = delete;

    const InstalledDevice& Device() const { return m_host->Device(); }
    const CallerInfo& Caller() const { return m_caller; }

    ScanStatus ListItems(std::vector<ScanItem>& items);
    // All properties for an empty list of ids.
    ScanStatus Read(const std::string& item, const std::vector<PROPID>& ids,
                    std::vector<ScanProperty>& properties);
    ScanStatus Write(const std::string& item, const std::vector<PropertyWrite>& writes);
    ScanStatus Try(const std::string& item, const std::vector<PropertyWrite>& writes,
                   std::vector<ScanProperty>& made);
    ScanStatus Scan(const std::string& item, const ScanOptions& options, IScanSink& sink,
                    int& scanned);
    ScanStatus Capabilities(LONG kind, std::vector<DeviceEvent>& capabilities);
    ScanStatus Synchronize();

  private:
    using Operation = std::function<HRESULT(BYTE* context, LONG* deviceError)>;
    using Writes = std::vector<PropertyWrite>;

    CDeviceSession(std::shared_ptr<CDeviceHost> host, CallerInfo caller);
    ScanStatus Start();
    ScanStatus Begin();
    ScanStatus InitializeImaging(IWiaDrvItem** root);
    // All items anew, with their properties at the driver's defaults.
    ScanStatus BuildItems(IWiaDrvItem* root);
    void PublishItem(CItemContext& item) const;
    const std::vector<ItemContextPtr>& Items() const { return m_use.items->Items(); }
    // An empty name means the first item that holds an image.
    ScanStatus FindItem(const std::string& name, ItemContextPtr& item) const;

    ScanStatus ReadFrom(CItemContext& item, std::vector<PROPID> ids,
                        std::vector<ScanProperty>& properties);
    ScanStatus CheckWrites(const CItemContext& item, const Writes& writes) const;
    ScanStatus Validate(const CItemContext& item, const Writes& writes);
    ScanStatus Apply(const std::string& item, const Writes& writes,
                     std::vector<ScanProperty>* made);
    ScanStatus ScanPage(CItemContext& item, int page, const ScanOptions& options, IScanSink& sink);

    // The operations of the gate's holder.
    // One operation of the imaging face, under the driver's own lock. `what` stands before the
    // words for its failure; it may be empty.
    ScanStatus Call(const CItemContext& item, const std::string& what, const Operation& operation);
    ScanStatus Failure(HRESULT hr, const std::string& what, LONG deviceError) const;

    // What the session has of the driver.
    struct Use {
        ComPtr<CDriverObject> driver;
        std::shared_ptr<CItemSet> items;  // gone before the driver
        bool initialized = false;         // its imaging face, for this session
    };
    static void End(CDeviceHost& host, Use& use);
    class Ending;

    const std::shared_ptr<CDeviceHost> m_host;
    const CallerInfo m_caller;
    Use m_use;
    std::unique_ptr<Ending> m_ending;  // made ahead of time, for when there is no memory
};
