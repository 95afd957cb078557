// A scanner in memory with every facet, each of which can be taken away. It answers with the
// records that a test has set, fails where it is told to, remembers every call, and counts what its
// caller does wrong: calls without the lock, locks given back that weren't taken, reads without a
// start, sessions that are over.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "controller/toolkit.h"

class CFakeToolkit final : public IOstrelDevice,
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
                           public IOstrelADF,
                           public IOstrelButtons,
                           public IOstrelInstantLamp,
                           public IOstrelPendingTask {
  public:
    // The result of a failure: kept by the driver when there is no code.
    static constexpr HRESULT kFailure = E_UNEXPECTED;

    struct Call {
        std::string operation;
        int levels = 0;   // of the lock, when it came
        DWORD value = 0;  // the operation's own number, if it takes one
    };

    // Letter size, 600 by 1200 dots per inch, everything attached and idle, the flatbed's lamp on.
    CFakeToolkit();

    // ---- The script

    void Without(REFIID facet) { m_missing.push_back(facet); }
    void WithoutFacets();
    // The `nth` call from now on fails with `code`, and those behind it up to `times`.
    void Fail(const std::string& operation, DWORD code, int nth = 1, int times = 1);
    void FailAlways(const std::string& operation, DWORD code) { Fail(operation, code, 1, 1 << 30); }
    void Heal() { m_faults.clear(); }
    // Before an operation does anything, on the thread that calls it.
    std::function<void(const std::string&)> onCall;

    OstrelDeviceCaps deviceCaps = {};
    OstrelAdfCaps adfCaps = {};
    OstrelAdf2Caps adf2Caps = {};
    OstrelAdf3Caps adf3Caps = {};
    OstrelXpaCaps xpaCaps = {};
    std::vector<OstrelMedia> media;
    OstrelNvramInfo nvramInfo = {};
    std::map<DWORD, DWORD> nvram;
    OstrelCompressionCaps compressionCaps = {};
    OstrelPanelCaps panelCaps = {};
    OstrelColorMatrixCaps colorMatrixCaps = {};
    OstrelResolutionTable resolutions[3] = {};
    std::optional<std::u16string> firmware;
    std::map<std::u16string, DWORD> longs;
    std::string profile;
    std::optional<DWORD> profileSize;      // instead of the profile's own
    std::optional<OstrelScanSetup> setup;  // instead of what the parameters give
    DWORD gateState = 2;
    bool duplexSwitch = false;
    DWORD lampOn = 1;  // 0 none, 1 flatbed, 2 adapter
    std::vector<BYTE> buttons;
    DWORD pendingState = 0;

    int sheets = 0;            // in the tray
    DWORD pageTenths = 110;    // their length
    DWORD linesOfMedia = ~0u;  // then status `endStatus`, with `strayBytes` bytes of one line more
    DWORD endStatus = OSTREL_END_OF_MEDIA;
    DWORD strayBytes = 0;

    // ---- What has happened

    std::vector<Call> Calls() const;
    std::vector<std::string> Operations() const;
    int Count(const std::string& operation) const;
    // The value of the last call; 0 if there was none.
    DWORD LastValue(const std::string& operation) const;
    void ForgetCalls();
    std::vector<std::string> Violations() const;
    int Levels() const;  // of all sessions
    int OpenSessions() const;
    int References() const { return m_references; }
    // Somebody takes all paper away, also the sheet that has been fed.
    void LosePaper() {
        sheets = 0;
        m_fed = m_secondDue = false;
    }

    OstrelScanParams started = {};  // of the last scan
    std::vector<BYTE> tonemap[3];
    double colorMatrix[9] = {};
    std::u16string panelText;

    DWORD BytesPerLine() const { return LineBytes(started); }
    // What byte `offset` of a line is.
    static BYTE Pixel(DWORD line, DWORD offset) {
        return static_cast<BYTE>(line * 31 + offset * 7 + 5);
    }

    // ---- The facets

    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG Release() override { return static_cast<ULONG>(--m_references); }

    HRESULT OpenDevice(LPCOLESTR name, WORD ioType, DWORD* session, DWORD* error) override;
    HRESULT CloseDevice(DWORD session, DWORD* error) override;
    HRESULT LockScanner(DWORD session, WORD mode, DWORD milliseconds, DWORD* error) override;
    HRESULT UnlockScanner(DWORD session, DWORD* error) override;
    HRESULT IsLampOn(DWORD s, BOOL* on, DWORD* e) override {
        return Tell<BOOL>("IsLampOn", s, e, on, lampOn != 0);
    }
    HRESULT LampOn(DWORD session, DWORD* error) override;
    HRESULT GetDeviceCapabilities(DWORD s, OstrelDeviceCaps* caps, DWORD* e) override {
        return Tell("GetDeviceCapabilities", s, e, caps, deviceCaps);
    }
    HRESULT GetScanSetup(DWORD s, const OstrelScanParams* params, OstrelScanSetup* out,
                         DWORD* e) override {
        return Tell("GetScanSetup", s, e, out, SetupFor(*params));
    }
    HRESULT CalibrateScanner(DWORD s, DWORD* e) override { return Enter("CalibrateScanner", s, e); }
    HRESULT FinishOpen(DWORD s, DWORD* e) override { return Enter("FinishOpen", s, e); }
    HRESULT StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) override;
    HRESULT SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                       const void* blue, DWORD* error) override;
    HRESULT BeginRead(DWORD session, DWORD* status) override;
    HRESULT EndScan(DWORD session, DWORD* error) override;
    HRESULT ReadScan(DWORD session, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                     DWORD* status) override;
    HRESULT IsPaperInADF(DWORD session, BOOL* paper, DWORD* error) override;
    HRESULT GetADF2Capabilities(DWORD s, OstrelAdf2Caps* caps, DWORD* e) override {
        return Tell("GetADF2Capabilities", s, e, caps, adf2Caps);
    }
    HRESULT SetADFMode(DWORD session, DWORD mode, DWORD* error) override;
    HRESULT EndADF2Job(DWORD session, DWORD* error) override;
    HRESULT ADF2PaperFeed(DWORD session, DWORD* pageLength, DWORD* error) override;
    HRESULT GetADF3Capabilities(DWORD s, OstrelAdf3Caps* caps, DWORD* e) override {
        return Tell("GetADF3Capabilities", s, e, caps, adf3Caps);
    }
    HRESULT GetDuplexSwitch(DWORD s, BOOL* duplex, DWORD* e) override {
        return Tell<BOOL>("GetDuplexSwitch", s, e, duplex, duplexSwitch);
    }
    HRESULT ADFStartJob(DWORD s, DWORD* e) override { return Enter("ADFStartJob", s, e); }
    HRESULT ADFEndJob(DWORD s, DWORD* e) override { return Enter("ADFEndJob", s, e); }
    HRESULT GetXPACapabilities(DWORD s, OstrelXpaCaps* caps, DWORD* e) override {
        return Tell("GetXPACapabilities", s, e, caps, xpaCaps);
    }
    HRESULT XPALampOn(DWORD session, DWORD* error) override;
    HRESULT IsXPALampOn(DWORD s, DWORD* state, DWORD* e) override {
        return Tell<DWORD>("IsXPALampOn", s, e, state, lampOn == 2);
    }
    HRESULT GetMediaSummary(DWORD session, OstrelMediaList* list, DWORD* error) override;
    HRESULT GetMediaRecord(DWORD s, WORD index, OstrelMedia* out, DWORD* e) override {
        return Tell("GetMediaRecord", s, e, out, media.at(index));
    }
    HRESULT GetNvramInfo(DWORD s, OstrelNvramInfo* info, DWORD* e) override {
        return Tell("GetNvramInfo", s, e, info, nvramInfo);
    }
    HRESULT ReadNvram(DWORD s, DWORD item, DWORD* value, DWORD* e) override {
        return Tell("ReadNvram", s, e, value, nvram[item]);
    }
    HRESULT WriteNvram(DWORD s, DWORD item, DWORD value, DWORD* e) override {
        return Tell("WriteNvram", s, e, &nvram[item], value);
    }
    HRESULT GetCompressionCapabilities(DWORD s, OstrelCompressionCaps* caps, DWORD* e) override {
        return Tell("GetCompressionCapabilities", s, e, caps, compressionCaps);
    }
    HRESULT SetCompressionType(DWORD s, DWORD type, DWORD* e) override {
        return Enter("SetCompressionType", s, e, type);
    }
    HRESULT EnableCompression(DWORD s, DWORD enable, DWORD* e) override {
        return Enter("EnableCompression", s, e, enable);
    }
    HRESULT SetCompressionValue(DWORD s, DWORD, DWORD value, DWORD* e) override {
        return Enter("SetCompressionValue", s, e, value);
    }
    HRESULT SetLampTimeout(DWORD s, DWORD minutes, DWORD* e) override {
        return Enter("SetLampTimeout", s, e, minutes);
    }
    HRESULT GetPanelCapabilities(DWORD s, OstrelPanelCaps* caps, DWORD* e) override {
        return Tell("GetPanelCapabilities", s, e, caps, panelCaps);
    }
    HRESULT SetPanelText(DWORD session, DWORD line, LPCOLESTR text, DWORD bytes,
                         DWORD* error) override;
    HRESULT GetStringProperty(DWORD session, LPCOLESTR name, LPOLESTR* text, DWORD* error) override;
    HRESULT GetLongProperty(DWORD session, LPCOLESTR name, DWORD* value, DWORD* error) override;
    HRESULT GetColorMatrixCapabilities(DWORD s, OstrelColorMatrixCaps* caps, DWORD* e) override {
        return Tell("GetColorMatrixCapabilities", s, e, caps, colorMatrixCaps);
    }
    HRESULT SetColorMatrix(DWORD session, const double* matrix, DWORD* error) override;
    HRESULT BeginJobGate(DWORD s, DWORD flags, DWORD* e) override {
        return Enter("BeginJobGate", s, e, flags);
    }
    HRESULT EndJobGate(DWORD s, DWORD* e) override { return Enter("EndJobGate", s, e); }
    HRESULT GetJobGateState(DWORD s, DWORD* state, DWORD* e) override {
        return Tell("GetJobGateState", s, e, state, gateState);
    }
    HRESULT AbortJobGate(DWORD s, DWORD reason, DWORD* e) override {
        return Enter("AbortJobGate", s, e, reason);
    }
    HRESULT GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) override;
    HRESULT ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) override;
    HRESULT GetResolutionTable(DWORD session, DWORD source, OstrelResolutionTable* table,
                               DWORD* error) override;
    HRESULT GetADFCapabilities(DWORD s, OstrelAdfCaps* caps, DWORD* e) override {
        return Tell("GetADFCapabilities", s, e, caps, adfCaps);
    }
    HRESULT GetButtonDataSize(DWORD s, DWORD* bytes, DWORD* e) override {
        return Tell("GetButtonDataSize", s, e, bytes, static_cast<DWORD>(buttons.size()));
    }
    HRESULT ReadButtons(DWORD session, DWORD bytes, BYTE* buffer, DWORD* error) override;
    HRESULT EndButtonRead(DWORD s, DWORD* e) override { return Enter("EndButtonRead", s, e); }
    HRESULT SetInstantLamp(DWORD s, DWORD state, DWORD* e) override {
        return Enter("SetInstantLamp", s, e, state);
    }
    HRESULT GetPendingState(DWORD s, DWORD* state, DWORD* e) override {
        return Tell("GetPendingState", s, e, state, pendingState);
    }
    HRESULT RunPendingTask(DWORD s, DWORD* e) override { return Enter("RunPendingTask", s, e); }

    HRESULT Reserved1() override { return Reserved(); }
    HRESULT Reserved2() override { return Reserved(); }
    HRESULT Reserved3() override { return Reserved(); }
    HRESULT Reserved4() override { return Reserved(); }
    HRESULT Reserved5() override { return Reserved(); }
    HRESULT Reserved6() override { return Reserved(); }
    HRESULT Reserved7() override { return Reserved(); }
    HRESULT Reserved8() override { return Reserved(); }

  private:
    enum class Needs { Session, Lock };
    struct Fault {
        std::string operation;
        DWORD code;
        int first;
        int times;
    };

    // Notes the call, and fails it if it breaks the rules or the script says so.
    HRESULT Enter(const char* operation, DWORD session, DWORD* error, DWORD value = 0,
                  Needs needs = Needs::Lock);
    HRESULT Refuse(DWORD* error, DWORD code) const;
    template <class T>
    HRESULT Tell(const char* operation, DWORD session, DWORD* error, T* out, const T& value) {
        const HRESULT hr = Enter(operation, session, error);
        if (SUCCEEDED(hr))
            *out = value;
        return hr;
    }
    HRESULT Reserved();
    bool HasPaper() const;
    static DWORD LineBytes(const OstrelScanParams& params);
    OstrelScanSetup SetupFor(const OstrelScanParams& params) const;
    HRESULT Deliver(BYTE* buffer, DWORD wanted, DWORD* got, DWORD* status);

    mutable std::recursive_mutex m_guard;
    std::vector<IID> m_missing;
    std::vector<Fault> m_faults;
    std::vector<Call> m_calls;
    std::map<std::string, int> m_counts;  // ever
    std::vector<std::string> m_violations;
    std::map<DWORD, int> m_sessions;  // levels of each that is open
    DWORD m_lastSession = 100;
    std::atomic<int> m_references = 0;
    bool m_scanning = false;
    bool m_reading = false;
    DWORD m_lines = 0;  // of the scan
    DWORD m_nextLine = 0;
    bool m_fed = false;
    bool m_secondDue = false;
    bool m_duplexScan = false;
};
