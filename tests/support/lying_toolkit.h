// The simulated toolkit with a test between it and its caller. It does what the device does, until
// a test lets an operation fail, answer without the device, or lie about what it gives. Calls are
// kept, and levels of the lock counted; what a caller does wrong, the device counts.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulator/sim_toolkit.h"
#include "tests/support/simulated_device.h"

class CLyingToolkit final : public CSimToolkit {
  public:
    // The result of a failure that was ordered: the driver keeps it where there is no code.
    static constexpr HRESULT kFailure = E_UNEXPECTED;

    // At the device in a folder. An object for all facets unless told otherwise, which lives as
    // long as the test says.
    explicit CLyingToolkit(const CDeviceRig& device, std::uint32_t facets = ~0u)
        : CSimToolkit({}, facets), m_device(device) {}

    // ---- Orders

    void Without(REFIID facet) { m_missing.push_back(facet); }
    // The `nth` call from now on, and those behind it up to `times`, fail with the code; 0: none is
    // set. Endings end what they end all the same.
    void Fail(EOperation operation, DWORD code, int nth = 1, int times = 1);
    // Succeeds, and the device hears nothing of it.
    void Answer(EOperation operation) { m_answered.insert(operation); }
    // A function of what the operation gives, which goes over it.
    template <class TLie>
    void Lie(EOperation operation, TLie lie) {
        m_lies[operation] = OfAnything(std::function(lie));
    }
    // Ahead of each operation, on the thread that calls it.
    std::function<void(EOperation)> onCall;

    // ---- What has happened

    std::vector<EOperation> Calls() const;
    int Count(EOperation operation) const;
    void ForgetCalls();
    int Levels() const;  // of all sessions
    int OpenSessions() const;
    int References() const { return m_references; }
    // Calls that broke the rules; "" for none.
    std::string Violations() const;

    std::vector<BYTE> tonemap[3];    // sent last
    std::vector<DWORD> compression;  // values and types, as they were sent

    // ---- The facets

    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG Release() override { return static_cast<ULONG>(--m_references); }
    HRESULT OpenDevice(LPCOLESTR name, WORD ioType, DWORD* session, DWORD* error) override;
    HRESULT SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                       const void* blue, DWORD* error) override;
    HRESULT GetScanSetup(DWORD s, const OstrelScanParams* params, OstrelScanSetup* setup,
                         DWORD* e) override {
        const HRESULT hr = CSimToolkit::GetScanSetup(s, params, setup, e);
        return Told(EOperation::GetScanSetup, hr, setup);
    }
    HRESULT GetResolutionTable(DWORD s, DWORD source, OstrelResolutionTable* table,
                               DWORD* e) override {
        const HRESULT hr = CSimToolkit::GetResolutionTable(s, source, table, e);
        return Told(EOperation::GetResolutionTable, hr, table);
    }

#define NVQ_TELLS(operation, Type)                             \
    HRESULT operation(DWORD s, Type* out, DWORD* e) override { \
        const HRESULT hr = CSimToolkit::operation(s, out, e);  \
        return Told(EOperation::operation, hr, out);           \
    }
    NVQ_TELLS(GetDeviceCapabilities, OstrelDeviceCaps)
    NVQ_TELLS(GetADF2Capabilities, OstrelAdf2Caps)
    NVQ_TELLS(GetADF3Capabilities, OstrelAdf3Caps)
    NVQ_TELLS(GetXPACapabilities, OstrelXpaCaps)
    NVQ_TELLS(GetNvramInfo, OstrelNvramInfo)
    NVQ_TELLS(GetCompressionCapabilities, OstrelCompressionCaps)
    NVQ_TELLS(ADF2PaperFeed, DWORD)
    NVQ_TELLS(GetJobGateState, DWORD)
    NVQ_TELLS(GetProfileSize, DWORD)
#undef NVQ_TELLS

    HRESULT SetCompressionType(DWORD s, DWORD type, DWORD* e) override {
        compression.push_back(type);
        return CSimToolkit::SetCompressionType(s, type, e);
    }
    HRESULT SetCompressionValue(DWORD s, DWORD kind, DWORD value, DWORD* e) override {
        compression.push_back(value);
        return CSimToolkit::SetCompressionValue(s, kind, value, e);
    }

  protected:
    HRESULT Run(EOperation operation, DWORD session, DWORD* error, const CCallBody& body) override;

  private:
    struct Fault {
        EOperation operation;
        DWORD code;
        int first;
        int times;
    };

    template <class T>
    static std::function<void(void*)> OfAnything(std::function<void(T&)> lie) {
        return [lie](void* out) { lie(*static_cast<T*>(out)); };
    }
    // Notes the call; the fault that was ordered for it, if there is one.
    std::optional<Fault> Enter(EOperation operation, DWORD session);
    HRESULT Refuse(const Fault& fault, DWORD* error) const;
    HRESULT Told(EOperation operation, HRESULT hr, void* out);

    const CDeviceRig& m_device;
    std::vector<IID> m_missing;
    std::set<EOperation> m_answered;
    std::map<EOperation, std::function<void(void*)>> m_lies;
    std::atomic<int> m_references = 0;
    mutable std::mutex m_guard;  // of all below
    std::vector<Fault> m_faults;
    std::vector<EOperation> m_calls;
    std::map<EOperation, int> m_counts;  // ever
    std::map<DWORD, int> m_levels;       // of each session that is open
    std::string m_violations;
};
