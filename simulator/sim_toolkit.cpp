#include "simulator/sim_toolkit.h"

#include <filesystem>

#include "platform/event_pipe.h"
#include "platform/files.h"
#include "platform/sync.h"
#include "platform/text.h"
#include "simulator/feeder.h"
#include "simulator/model_store.h"

namespace {

// The largest of the transport numbers, a network device's. All are alike to the simulator.
constexpr WORD kMostIoType = 5;

// Numbers of all objects in the program, none given twice: a session that is over is never taken
// for another.
std::atomic<DWORD> g_lastSession{0};

template <class TInterface>
void* As(CSimToolkit* toolkit) {
    return static_cast<TInterface*>(toolkit);
}

// One object answers for all facets; which it has is the model's bits.
struct CFacetRow {
    const IID* iid;
    std::uint32_t facet;  // 0: every object has it
    void* (*as)(CSimToolkit*);
};
constexpr CFacetRow kFacets[] = {
    {&IID_IUnknown, 0, &As<IOstrelDevice>},
    {&IID_IOstrelDevice, 0, &As<IOstrelDevice>},
    {&IID_IOstrelADF, kFacetAdf, &As<IOstrelADF>},
    {&IID_IOstrelADF2, kFacetAdf2, &As<IOstrelADF2>},
    {&IID_IOstrelADF3, kFacetAdf3, &As<IOstrelADF3>},
    {&IID_IOstrelXPA, kFacetXpa, &As<IOstrelXPA>},
    {&IID_IOstrelXPALamp, kFacetXpaLamp, &As<IOstrelXPALamp>},
    {&IID_IOstrelXPAMedia, kFacetXpaMedia, &As<IOstrelXPAMedia>},
    {&IID_IOstrelNvram, kFacetNvram, &As<IOstrelNvram>},
    {&IID_IOstrelCompression, kFacetCompression, &As<IOstrelCompression>},
    {&IID_IOstrelExtendedLamp, kFacetExtendedLamp, &As<IOstrelExtendedLamp>},
    {&IID_IOstrelPanel, kFacetPanel, &As<IOstrelPanel>},
    {&IID_IOstrelProperties, kFacetProperties, &As<IOstrelProperties>},
    {&IID_IOstrelColorMatrix, kFacetColorMatrix, &As<IOstrelColorMatrix>},
    {&IID_IOstrelJobGate, kFacetJobGate, &As<IOstrelJobGate>},
    {&IID_IOstrelProfile, kFacetProfile, &As<IOstrelProfile>},
    {&IID_IOstrelResolutions, kFacetResolutions, &As<IOstrelResolutions>},
    {&IID_IOstrelButtons, kFacetButtons, &As<IOstrelButtons>},
    {&IID_IOstrelInstantLamp, kFacetInstantLamp, &As<IOstrelInstantLamp>},
    {&IID_IOstrelPendingTask, kFacetPendingTask, &As<IOstrelPendingTask>},
};

// What a session holds on its device ends with it.
void EndSession(CCall& call) {
    CSession& session = call.Session();
    session.m_closed = true;
    session.m_scan.reset();
    if (session.m_lockDepth == 0)
        return;
    ++call.State().closedLocked;
    if (call.State().owner == session.m_tag)
        EndFeederJob(call.State());
    session.m_lockDepth = 0;
    ReleaseSemaphore(session.m_deviceLock.Get(), 1, nullptr);
}

// The first level of the lock. What another session left behind, perhaps because its program died,
// is over now.
void TakeLock(CCall& call, DWORD milliseconds) {
    CSession& session = call.Session();
    DWORD waited = WAIT_FAILED;
    call.Away([&] { waited = WaitForSingleObject(session.m_deviceLock.Get(), milliseconds); },
              true);
    if (waited != WAIT_OBJECT_0)
        throw CSimFailure(OSTREL_LOCK_FAILED);
    session.m_lockDepth = 1;
    session.RefreshSettings();
    if (call.State().owner != session.m_tag)
        EndFeederJob(call.State());
    call.State().owner = session.m_tag;
}

}  // namespace

CSimToolkit::CSimToolkit(std::string model, std::uint32_t facets)
    : m_model(std::move(model)), m_facets(facets) {}

// Who drops the object without closing its sessions holds nothing afterwards.
CSimToolkit::~CSimToolkit() {
    while (!m_sessions.empty()) {
        const DWORD session = m_sessions.begin()->first;
        CloseDevice(session, nullptr);
        m_sessions.erase(session);
    }
}

HRESULT CSimToolkit::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    const std::lock_guard guard(m_mutex);
    for (const CFacetRow& row : kFacets) {
        if (iid == *row.iid && (row.facet == 0 || (m_facets & row.facet) != 0)) {
            *object = row.as(this);
            AddRef();
            return S_OK;
        }
    }
    return E_NOINTERFACE;
}

ULONG CSimToolkit::Release() {
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

// Shared: a session that is closed while another thread reads stays until that read is back.
std::shared_ptr<CSession> CSimToolkit::Find(DWORD session) {
    const std::lock_guard guard(m_mutex);
    const auto found = m_sessions.find(session);
    return found == m_sessions.end() ? nullptr : found->second;
}

HRESULT CSimToolkit::Run(EOperation operation, DWORD session, DWORD* error, const CCallBody& body) {
    if (const auto found = Find(session))
        return RunCall(operation, found, error, body);
    std::unique_lock guard(m_mutex);
    const auto last = m_last;
    guard.unlock();
    return RefuseSession(operation, last, session, error);
}

// ---- Sessions

// The pipe stands as long as the folder, so that a driver may wait there before anybody opens the
// device, and presses wait for it.
std::shared_ptr<CSession> CSimToolkit::Open(LPCOLESTR name, WORD ioType) {
    if (!name || ioType > kMostIoType)
        throw CSimFailure(OSTREL_INVALID_PARAMETER);
    const std::string port = TextFromWide(name);
    auto session = std::make_shared<CSession>(++g_lastSession, CDeviceFolder::FromPort(port));
    const CDeviceFolder& folder = session->m_folder;
    std::error_code error;
    std::filesystem::create_directories(folder.Panel(), error);
    if (error || !MakeEventPipe(folder.Port().c_str()))
        throw CSimFailure(OSTREL_OPEN_FAILED, folder.Port() + ": can't be made, or is no pipe");
    if (session->m_settings->Has(kFacetButtons))
        session->m_pipe = CHandle(CreateFileA(folder.Port().c_str(), GENERIC_READ | GENERIC_WRITE,
                                              0, nullptr, OPEN_EXISTING, 0, nullptr));
    return session;
}

// The first device that an object opens decides its model; from then on it has that model's facets.
void CSimToolkit::Keep(const std::shared_ptr<CSession>& session) {
    const CSettings& settings = *session->m_settings;
    const std::lock_guard guard(m_mutex);
    if (!m_model.empty() && m_model != settings.m_model)
        throw CSimFailure(OSTREL_OPEN_FAILED, session->m_folder.Path() + ": is a " +
                                                  settings.m_model + ", and a " + m_model +
                                                  " was to be opened");
    m_model = settings.m_model;
    m_facets = settings.m_facets;
    m_sessions[session->m_id] = session;
    m_last = session;
}

// Outside the common frame: there is no session yet, and a failure of opening has no device to be
// noted at.
HRESULT CSimToolkit::OpenDevice(LPCOLESTR name, WORD ioType, DWORD* session, DWORD* error) {
    const DWORD code = Contain([&] {
        if (!session)
            throw CSimFailure(OSTREL_INVALID_PARAMETER);
        const auto opened = Open(name, ioType);
        DWORD refused = OSTREL_NO_ERROR;
        if (FAILED(RunCall(EOperation::OpenDevice, opened, &refused,
                           [](CCall& call) { ++call.State().opens; })))
            throw CSimFailure(refused);
        Keep(opened);
        *session = opened->m_id;
    });
    if (error)
        *error = code;
    return code == OSTREL_NO_ERROR ? S_OK : E_FAIL;
}

// Forgotten whatever the call said: an ordered fault ends the session all the same.
HRESULT CSimToolkit::CloseDevice(DWORD session, DWORD* error) {
    const HRESULT hr = Run(EOperation::CloseDevice, session, error, &EndSession);
    const std::lock_guard guard(m_mutex);
    m_sessions.erase(session);
    return hr;
}

// ---- The lock. The mode tells the toolkit of a real scanner how to share its transport.

HRESULT CSimToolkit::LockScanner(DWORD session, WORD mode, DWORD milliseconds, DWORD* error) {
    return Run(EOperation::LockScanner, session, error, [&](CCall& call) {
        call.Note("mode " + std::to_string(mode) + ", " + std::to_string(milliseconds) + " ms");
        if (mode > OSTREL_LOCK_SHORT_JOB)
            throw CSimFailure(OSTREL_INVALID_PARAMETER);
        if (call.Session().m_lockDepth == 0)
            TakeLock(call, milliseconds);
        else
            ++call.Session().m_lockDepth;
    });
}

HRESULT CSimToolkit::UnlockScanner(DWORD session, DWORD* error) {
    return Run(EOperation::UnlockScanner, session, error, [&](CCall& call) {
        if (--call.Session().m_lockDepth == 0)
            ReleaseSemaphore(call.Session().m_deviceLock.Get(), 1, nullptr);
    });
}
