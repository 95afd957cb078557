#include "simulator/call_frame.h"

#include <array>
#include <exception>
#include <fstream>
#include <new>
#include <utility>

#include "platform/handle.h"
#include "platform/module.h"
#include "platform/sync.h"
#include "platform/told_lines.h"
#include "simulator/panel.h"

namespace {

// How often each operation has been called on a device by this program.
// Counts belong to the program, not to the device: a fault that is ordered for the second call
// strikes each program that makes two.
struct CFaultCounts {
    std::vector<CFaultPlan> plans;
    std::array<std::uint32_t, kOperationCount> calls = {};
};

struct CFaultBook {
    std::mutex mutex;
    std::map<std::string, CFaultCounts> devices;
};

// One for the module; a device is known by its folder.
CFaultBook& FaultBook() {
    static CFaultBook book;
    return book;
}

// The person's program may have a place for such words; else they are the debugger's.
void Tell(bool (*tell)(const std::string& line), const std::string& line) {
    if (!tell(line))
        OutputDebugStringA(("nvqsim: " + line + '\n').c_str());
}

// A success carries its status where the caller reads errors: the reading operations have one.
HRESULT Result(DWORD code, DWORD status, DWORD* error) {
    if (error)
        *error = code != OSTREL_NO_ERROR ? code : status;
    return code == OSTREL_NO_ERROR ? S_OK : E_FAIL;
}

}  // namespace

// Without limit: whoever has the state gives it back after a few file operations, and a killed
// program's hold is gone.
bool CHold::Take(HANDLE semaphore) {
    if (WaitForSingleObject(semaphore, INFINITE) != WAIT_OBJECT_0)
        return false;
    m_semaphore = semaphore;
    return true;
}

void CHold::Release() {
    if (m_semaphore)
        ReleaseSemaphore(m_semaphore, 1, nullptr);
    m_semaphore = nullptr;
}

// ---- CCall

// The settings are those of the call's begin, whatever another thread of the session reads
// meanwhile.
CCall::CCall(EOperation operation, CSession& session, std::unique_lock<std::mutex>& guard)
    : m_operation(operation),
      m_session(session),
      m_sessionGuard(guard),
      m_settings(session.m_settings) {
    Fetch();
}

// The state is read from its file at each call, since other programs write it too, and is this
// call's alone until it is stored.
void CCall::Fetch() {
    const CToldLines told;
    if (!m_stateHold.Take(m_session.m_stateGuard.Get()))
        throw CSimFailure(OSTREL_COMMUNICATION, told.Cause());
    m_state = LoadState(m_session.m_folder.State(), FreshState(*m_settings));
    m_stored = m_state;
    TakeActs();
    HoldPresses();
}

// A press that nobody reads is forgotten, as it means nothing to who comes later. While somebody
// uses the scanner it can't be read, and waits.
void CCall::HoldPresses() {
    constexpr std::uint64_t kStep = 1000;  // so that a scan doesn't store the state at each call

    if (m_state.buttonsPending == 0)
        return;
    const std::uint64_t now = Now();
    const std::uint64_t pressed = m_state.buttonsPressed;
    if (now < pressed || now - pressed > kPressHeld)
        m_state.buttonsPending = 0;
    else if (m_session.m_lockDepth > 0 && now - pressed > kStep)
        m_state.buttonsPressed = now;
}

// Nothing is written for a call that only asked: most do.
void CCall::Store() {
    if (m_state != m_stored)
        SaveState(m_session.m_folder.State(), m_state);
    m_stored = m_state;
}

// What a person does is noticed here and nowhere else, so it happens between two calls, never
// within one.
void CCall::TakeActs() {
    for (const std::string& act : m_session.m_folder.TakeActs()) {
        const std::uint64_t before = std::exchange(m_state.buttonsPending, 0);
        if (!ApplyAct(act, *m_settings, m_state))
            Tell(TellWarning,
                 m_session.m_folder.Panel() + '/' + act + " means nothing to the scanner");
        if (m_state.buttonsPending != 0)
            m_state.buttonsPressed = Now();
        m_state.buttonsPending |= before;
    }
}

// An ordered fault comes ahead of everything else, so that a test that orders one sees it whatever
// state the device is in. One of an ending waits until the thing has ended.
void CCall::Begin() {
    m_fault = FaultOf(m_operation, m_session.m_folder.Path(), *m_settings);
    if (m_fault != OSTREL_NO_ERROR)
        Note("(ordered)");
    if (!IsEnding(m_operation))
        Strike();
    if (OperationOf(m_operation).underLock && m_session.m_lockDepth == 0)
        Violation(OSTREL_NOT_LOCKED, "without the lock");
}

void CCall::Strike() const {
    if (m_fault != OSTREL_NO_ERROR)
        throw CSimFailure(m_fault);
}

void CCall::End() {
    Store();
}

// Told in the state's file, where a test finds it at the end however the program took the failure.
void CCall::CountViolation(const std::string& what) {
    ++m_state.violations;
    m_state.lastViolation = std::string(OperationOf(m_operation).name) + ' ' + what;
    Note("VIOLATION: " + what);
}

void CCall::Violation(DWORD code, const std::string& what) {
    CountViolation(what);
    throw CSimFailure(code);
}

void CCall::NeedPointer(const void* pointer) {
    if (!pointer)
        Violation(OSTREL_INVALID_PARAMETER, "with a null pointer");
}

// The state may have changed when this comes back: it is fetched anew, and nothing that was read
// from it before still holds. A failure waits until both guards are held again.
void CCall::Away(const std::function<void()>& action, bool keepSession) {
    Store();
    m_stateHold.Release();
    if (!keepSession)
        m_sessionGuard.unlock();
    std::exception_ptr failure;
    try {
        action();
    } catch (...) {
        failure = std::current_exception();
    }
    if (!keepSession)
        m_sessionGuard.lock();
    Fetch();
    if (failure)
        std::rethrow_exception(failure);
}

void CCall::SleepUntil(std::uint64_t time) {
    if (time > Now())
        Away([&] { m_session.m_folder.SleepUntil(time); });
}

// ---- The frame

// Codes as the toolkit has them. What isn't the simulator's own failure is a fault of the
// simulator, and is told as such.
DWORD ContainFunction(const std::function<void()>& action) {
    try {
        action();
        return OSTREL_NO_ERROR;
    } catch (const CSimFailure& failure) {
        // Parameters are the program's business, and stand in the record.
        if (failure.what()[0] != 0 && failure.Code() != OSTREL_INVALID_PARAMETER)
            Tell(TellCause, failure.what());
        return failure.Code();
    } catch (const std::bad_alloc&) {
        return OSTREL_OUT_OF_MEMORY;
    } catch (const std::exception& failure) {
        Tell(TellCause, failure.what());
        return OSTREL_UNKNOWN_ERROR;
    }
}

// The outer frame guards what the inner one can't: making the call, and storing the state behind
// it. The first failure counts.
HRESULT RunCall(EOperation operation, const std::shared_ptr<CSession>& session, DWORD* error,
                const CCallBody& body) {
    std::unique_lock guard(session->m_mutex);
    DWORD status = OSTREL_NO_ERROR;
    DWORD code = OSTREL_NO_ERROR;
    std::string note;
    const DWORD frameCode = Contain([&] {
        CCall call(operation, *session, guard);
        code = Contain([&] {
            try {
                call.Begin();
                body(call);
                call.Strike();
            } catch (const CSimFailure& failure) {
                if (failure.what()[0] != 0)
                    call.Note(std::string("(") + failure.what() + ')');
                throw;
            }
        });
        call.End();
        status = call.Status();
        note = call.NoteText();
    });
    if (code == OSTREL_NO_ERROR)
        code = frameCode;
    if (session->m_settings->m_numbers.m_record != 0)
        Contain([&] {
            RecordCall(*session, operation, note, code != OSTREL_NO_ERROR ? code : status);
        });
    return Result(code, status, error);
}

// A session that isn't open has no device. The object's last one is as a rule the one that was
// meant.
HRESULT RefuseSession(EOperation operation, const std::shared_ptr<CSession>& last, DWORD session,
                      DWORD* error) {
    if (last) {
        std::unique_lock guard(last->m_mutex);
        Contain([&] {
            CCall call(operation, *last, guard);
            call.CountViolation("with session " + std::to_string(session) + ", which isn't open");
            call.End();
            if (last->m_settings->m_numbers.m_record != 0)
                RecordCall(*last, operation, call.NoteText(), OSTREL_INVALID_SESSION);
        });
    }
    return Result(OSTREL_INVALID_SESSION, OSTREL_NO_ERROR, error);
}

// A plan that changed counts from its own beginning, so that a test can order the next fault
// without reckoning with the calls before.
DWORD FaultOf(EOperation operation, const std::string& folder, const CSettings& settings) {
    CFaultBook& book = FaultBook();
    const std::lock_guard guard(book.mutex);
    CFaultCounts& counts = book.devices[folder];
    if (counts.plans != settings.m_faults)
        counts = {settings.m_faults, {}};
    const std::uint32_t call = ++counts.calls[static_cast<std::size_t>(operation)];
    for (const CFaultPlan& plan : counts.plans) {
        if (plan.m_operation != operation)
            continue;
        for (const CFault& fault : plan.m_faults) {
            if (call == fault.m_call || (fault.m_onwards && call > fault.m_call))
                return fault.m_code;
        }
    }
    return OSTREL_NO_ERROR;
}

// One line and one write: those of two programs don't mix.
void RecordCall(const CSession& session, EOperation operation, const std::string& note,
                DWORD code) {
    const std::string line = session.m_tag + " depth " + std::to_string(session.m_lockDepth) + ' ' +
                             OperationOf(operation).name + note + " -> " + std::to_string(code) +
                             '\n';
    std::ofstream(session.m_folder.Calls(), std::ios::app | std::ios::binary) << line << std::flush;
}
