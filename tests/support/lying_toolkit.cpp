#include "tests/support/lying_toolkit.h"

#include <algorithm>

void CLyingToolkit::Fail(EOperation operation, DWORD code, int nth, int times) {
    const std::lock_guard guard(m_guard);
    m_faults.push_back({operation, code, m_counts[operation] + nth, times});
}

std::vector<EOperation> CLyingToolkit::Calls() const {
    const std::lock_guard guard(m_guard);
    return m_calls;
}

int CLyingToolkit::Count(EOperation operation) const {
    const std::lock_guard guard(m_guard);
    return static_cast<int>(std::ranges::count(m_calls, operation));
}

void CLyingToolkit::ForgetCalls() {
    const std::lock_guard guard(m_guard);
    m_calls.clear();
}

int CLyingToolkit::Levels() const {
    const std::lock_guard guard(m_guard);
    int levels = 0;
    for (const auto& [session, held] : m_levels)
        levels += held;
    return levels;
}

int CLyingToolkit::OpenSessions() const {
    const std::lock_guard guard(m_guard);
    return static_cast<int>(m_levels.size());
}

std::string CLyingToolkit::Violations() const {
    const CDeviceState state = m_device.State();
    const std::lock_guard guard(m_guard);
    return m_violations + (state.violations != 0 ? state.lastViolation : "");
}

// ---- Calls

std::optional<CLyingToolkit::Fault> CLyingToolkit::Enter(EOperation operation, DWORD session) {
    if (onCall)
        onCall(operation);
    const std::lock_guard guard(m_guard);
    const auto held = m_levels.find(session);
    // The device never hears of a call that fails here.
    if (operation != EOperation::OpenDevice &&
        (held == m_levels.end() || (OperationOf(operation).underLock && held->second == 0)))
        m_violations += std::string(OperationOf(operation).name) + " without session or lock; ";
    m_calls.push_back(operation);
    const int count = ++m_counts[operation];
    const auto fault = std::find_if(m_faults.begin(), m_faults.end(), [=](const Fault& f) {
        return f.operation == operation && count >= f.first && count - f.first < f.times;
    });
    return fault == m_faults.end() ? std::nullopt : std::optional(*fault);
}

HRESULT CLyingToolkit::Refuse(const Fault& fault, DWORD* error) const {
    if (fault.code != OSTREL_NO_ERROR)
        *error = fault.code;
    return kFailure;
}

HRESULT CLyingToolkit::Run(EOperation operation, DWORD session, DWORD* error,
                           const CCallBody& body) {
    const auto fault = Enter(operation, session);
    HRESULT hr = S_OK;
    if (fault && !IsEnding(operation))
        return Refuse(*fault, error);
    if (m_answered.count(operation) == 0)
        hr = CSimToolkit::Run(operation, session, error, body);
    {
        const std::lock_guard guard(m_guard);
        if (operation == EOperation::CloseDevice)
            m_levels.erase(session);
        else if (operation == EOperation::UnlockScanner || operation == EOperation::LockScanner)
            m_levels[session] += FAILED(hr) ? 0 : operation == EOperation::LockScanner ? 1 : -1;
    }
    return fault ? Refuse(*fault, error) : hr;
}

HRESULT CLyingToolkit::OpenDevice(LPCOLESTR name, WORD ioType, DWORD* session, DWORD* error) {
    if (const auto fault = Enter(EOperation::OpenDevice, 0))
        return Refuse(*fault, error);
    const HRESULT hr = CSimToolkit::OpenDevice(name, ioType, session, error);
    const std::lock_guard guard(m_guard);
    if (SUCCEEDED(hr))
        m_levels[*session] = 0;
    return hr;
}

HRESULT CLyingToolkit::Told(EOperation operation, HRESULT hr, void* out) {
    const auto lie = m_lies.find(operation);
    if (SUCCEEDED(hr) && lie != m_lies.end())
        lie->second(out);
    return hr;
}

HRESULT CLyingToolkit::SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                                  const void* blue, DWORD* error) {
    const void* const tables[] = {red, green, blue};
    for (int i = 0; i < 3; ++i)
        tonemap[i].assign(static_cast<const BYTE*>(tables[i]),
                          static_cast<const BYTE*>(tables[i]) + bytes);
    return CSimToolkit::SetTonemap(session, bytes, red, green, blue, error);
}

HRESULT CLyingToolkit::QueryInterface(REFIID iid, void** object) {
    *object = nullptr;
    const bool isMissing = std::find(m_missing.begin(), m_missing.end(), iid) != m_missing.end();
    return isMissing ? E_NOINTERFACE : CSimToolkit::QueryInterface(iid, object);
}
