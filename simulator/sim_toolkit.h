// The toolkit's object: one class for all facets, of which a query gives those that the model has.
//
// An object that was made for no model in particular has the main interface alone until it has
// opened a device; then it is of that device's model.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "controller/toolkit.h"
#include "simulator/call_frame.h"
#include "simulator/session.h"

class CSimToolkit : public IOstrelDevice,
                    public IOstrelADF,
                    public IOstrelADF2,
                    public IOstrelADF3,
                    public IOstrelXPA,
                    public IOstrelXPALamp,
                    public IOstrelXPAMedia,
                    public IOstrelNvram,
                    public IOstrelCompression,
                    public IOstrelExtendedLamp,
                    public IOstrelPanel,
                    public IOstrelProperties,
                    public IOstrelColorMatrix,
                    public IOstrelJobGate,
                    public IOstrelProfile,
                    public IOstrelResolutions,
                    public IOstrelButtons,
                    public IOstrelInstantLamp,
                    public IOstrelPendingTask {
  public:
    // `model` empty: none yet.
    explicit CSimToolkit(std::string model = {}, std::uint32_t facets = 0);
    virtual ~CSimToolkit();

    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override;

    // Of all facets: nobody calls them.
    HRESULT Reserved1() override { return E_NOTIMPL; }
    HRESULT Reserved2() override { return E_NOTIMPL; }
    HRESULT Reserved3() override { return E_NOTIMPL; }
    HRESULT Reserved4() override { return E_NOTIMPL; }
    HRESULT Reserved5() override { return E_NOTIMPL; }
    HRESULT Reserved6() override { return E_NOTIMPL; }
    HRESULT Reserved7() override { return E_NOTIMPL; }
    HRESULT Reserved8() override { return E_NOTIMPL; }

    // Sessions and lock: sim_toolkit.cpp
    HRESULT OpenDevice(LPCOLESTR name, WORD ioType, DWORD* session, DWORD* error) override;
    HRESULT CloseDevice(DWORD session, DWORD* error) override;
    HRESULT LockScanner(DWORD session, WORD mode, DWORD milliseconds, DWORD* error) override;
    HRESULT UnlockScanner(DWORD session, DWORD* error) override;

    // Scanning: sim_toolkit_scan.cpp
    HRESULT GetDeviceCapabilities(DWORD session, OstrelDeviceCaps* caps, DWORD* error) override;
    HRESULT GetScanSetup(DWORD session, const OstrelScanParams* params, OstrelScanSetup* setup,
                         DWORD* error) override;
    HRESULT CalibrateScanner(DWORD session, DWORD* error) override;
    HRESULT FinishOpen(DWORD session, DWORD* error) override;
    HRESULT StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) override;
    HRESULT SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                       const void* blue, DWORD* error) override;
    HRESULT BeginRead(DWORD session, DWORD* status) override;
    HRESULT ReadScan(DWORD session, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                     DWORD* status) override;
    HRESULT EndScan(DWORD session, DWORD* error) override;
    HRESULT GetColorMatrixCapabilities(DWORD session, OstrelColorMatrixCaps* caps,
                                       DWORD* error) override;
    HRESULT SetColorMatrix(DWORD session, const double* matrix, DWORD* error) override;
    HRESULT GetCompressionCapabilities(DWORD session, OstrelCompressionCaps* caps,
                                       DWORD* error) override;
    HRESULT SetCompressionType(DWORD session, DWORD type, DWORD* error) override;
    HRESULT EnableCompression(DWORD session, DWORD enable, DWORD* error) override;
    HRESULT SetCompressionValue(DWORD session, DWORD kind, DWORD value, DWORD* error) override;

    // Feeder, adapter, lamps: sim_toolkit_sources.cpp
    HRESULT IsLampOn(DWORD session, BOOL* on, DWORD* error) override;
    HRESULT LampOn(DWORD session, DWORD* error) override;
    HRESULT SetLampTimeout(DWORD session, DWORD minutes, DWORD* error) override;
    HRESULT SetInstantLamp(DWORD session, DWORD state, DWORD* error) override;
    HRESULT GetADFCapabilities(DWORD session, OstrelAdfCaps* caps, DWORD* error) override;
    HRESULT IsPaperInADF(DWORD session, BOOL* paper, DWORD* error) override;
    HRESULT GetADF2Capabilities(DWORD session, OstrelAdf2Caps* caps, DWORD* error) override;
    HRESULT SetADFMode(DWORD session, DWORD mode, DWORD* error) override;
    HRESULT EndADF2Job(DWORD session, DWORD* error) override;
    HRESULT ADF2PaperFeed(DWORD session, DWORD* pageLength, DWORD* error) override;
    HRESULT GetADF3Capabilities(DWORD session, OstrelAdf3Caps* caps, DWORD* error) override;
    HRESULT GetDuplexSwitch(DWORD session, BOOL* duplex, DWORD* error) override;
    HRESULT ADFStartJob(DWORD session, DWORD* error) override;
    HRESULT ADFEndJob(DWORD session, DWORD* error) override;
    HRESULT GetXPACapabilities(DWORD session, OstrelXpaCaps* caps, DWORD* error) override;
    HRESULT XPALampOn(DWORD session, DWORD* error) override;
    HRESULT IsXPALampOn(DWORD session, DWORD* state, DWORD* error) override;
    HRESULT GetMediaSummary(DWORD session, OstrelMediaList* list, DWORD* error) override;
    HRESULT GetMediaRecord(DWORD session, WORD index, OstrelMedia* media, DWORD* error) override;

    // What else there is: sim_toolkit_extras.cpp
    HRESULT GetNvramInfo(DWORD session, OstrelNvramInfo* info, DWORD* error) override;
    HRESULT ReadNvram(DWORD session, DWORD item, DWORD* value, DWORD* error) override;
    HRESULT WriteNvram(DWORD session, DWORD item, DWORD value, DWORD* error) override;
    HRESULT GetPanelCapabilities(DWORD session, OstrelPanelCaps* caps, DWORD* error) override;
    HRESULT SetPanelText(DWORD session, DWORD line, LPCOLESTR text, DWORD bytes,
                         DWORD* error) override;
    HRESULT GetStringProperty(DWORD session, LPCOLESTR name, LPOLESTR* text, DWORD* error) override;
    HRESULT GetLongProperty(DWORD session, LPCOLESTR name, DWORD* value, DWORD* error) override;
    HRESULT BeginJobGate(DWORD session, DWORD flags, DWORD* error) override;
    HRESULT EndJobGate(DWORD session, DWORD* error) override;
    HRESULT GetJobGateState(DWORD session, DWORD* state, DWORD* error) override;
    HRESULT AbortJobGate(DWORD session, DWORD reason, DWORD* error) override;
    HRESULT GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) override;
    HRESULT ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) override;
    HRESULT GetResolutionTable(DWORD session, DWORD source, OstrelResolutionTable* table,
                               DWORD* error) override;
    HRESULT GetButtonDataSize(DWORD session, DWORD* bytes, DWORD* error) override;
    HRESULT ReadButtons(DWORD session, DWORD bytes, BYTE* buffer, DWORD* error) override;
    HRESULT EndButtonRead(DWORD session, DWORD* error) override;
    HRESULT GetPendingState(DWORD session, DWORD* state, DWORD* error) override;
    HRESULT RunPendingTask(DWORD session, DWORD* error) override;

  protected:
    // What every operation but OpenDevice comes through, so that a test can stand between a caller
    // and the device.
    virtual HRESULT Run(EOperation operation, DWORD session, DWORD* error, const CCallBody& body);

  private:
    // The operations that only give a record.
    template <class T>
    HRESULT Give(EOperation operation, DWORD session, const T CNumbers::*record, T* out,
                 DWORD* error) {
        return Run(operation, session, error, [&](CCall& call) {
            call.NeedPointer(out);
            *out = call.Numbers().*record;
        });
    }
    std::shared_ptr<CSession> Find(DWORD session);
    std::shared_ptr<CSession> Open(LPCOLESTR name, WORD ioType);
    void Keep(const std::shared_ptr<CSession>& session);

    std::atomic<ULONG> m_references{1};
    std::mutex m_mutex;  // guards all below
    std::string m_model;
    std::uint32_t m_facets;
    std::map<DWORD, std::shared_ptr<CSession>> m_sessions;
    std::shared_ptr<CSession> m_last;
};
