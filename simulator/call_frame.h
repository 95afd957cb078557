// What every operation of the toolkit has around it: the session is looked up, the device's state
// is fetched and put back, faults that were ordered strike, the lock is checked, the call is
// recorded.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "simulator/device_state.h"
#include "simulator/operations.h"
#include "simulator/session.h"
#include "simulator/sim_failure.h"

// A semaphore that this holds, or not.
class CHold {
  public:
    CHold() = default;
    CHold(const CHold&) = delete;
    CHold& operator=(const CHold&) = delete;
    ~CHold() { Release(); }

    bool Take(HANDLE semaphore);
    void Release();

  private:
    HANDLE m_semaphore = nullptr;
};

// One call while it runs. Its session and the state are its own until it goes Away.
class CCall {
  public:
    CCall(EOperation operation, CSession& session, std::unique_lock<std::mutex>& guard);
    CCall(const CCall&) = delete;
    CCall& operator=(const CCall&) = delete;

    CSession& Session() { return m_session; }
    CDeviceState& State() { return m_state; }
    const CSettings& Settings() const { return *m_settings; }
    const CNumbers& Numbers() const { return m_settings->m_numbers; }
    std::uint64_t Now() const { return m_session.m_folder.Now(); }

    // The caller did what it may not do: counted, and the call fails with the code.
    [[noreturn]] void Violation(DWORD code, const std::string& what);
    void CountViolation(const std::string& what);
    // Refuses a caller that gave no place for the answer.
    void NeedPointer(const void* pointer);
    // Other calls, of this session too unless `keepSession`, may run meanwhile.
    void Away(const std::function<void()>& action, bool keepSession = false);
    void SleepUntil(std::uint64_t time);

    // For the record.
    void Note(const std::string& detail) { m_note += ' ' + detail; }
    const std::string& NoteText() const { return m_note; }
    // What the caller reads as the error of a call that succeeded.
    void SetStatus(DWORD status) { m_status = status; }
    DWORD Status() const { return m_status; }

    // The order is Begin, the work, Strike, End; RunCall keeps to it.
    void Begin();
    // Behind the work: the fault of an operation that ends something.
    void Strike() const;
    void End();

  private:
    // The state, under its guard between all programs.
    void Fetch();
    void Store();
    void TakeActs();
    void HoldPresses();

    const EOperation m_operation;
    CSession& m_session;
    std::unique_lock<std::mutex>& m_sessionGuard;
    std::shared_ptr<const CSettings> m_settings;
    CDeviceState m_state;
    CDeviceState m_stored;
    CHold m_stateHold;
    std::string m_note;
    DWORD m_status = OSTREL_NO_ERROR;
    DWORD m_fault = OSTREL_NO_ERROR;  // ordered for this call
};

using CCallBody = std::function<void(CCall&)>;

// Runs `body` and turns its failure into a code; `*error` gets the code or the status.
HRESULT RunCall(EOperation operation, const std::shared_ptr<CSession>& session, DWORD* error,
                const CCallBody& body);

// For a session that isn't known: `last` is the object's last one, whose device keeps the count.
HRESULT RefuseSession(EOperation operation, const std::shared_ptr<CSession>& last, DWORD session,
                      DWORD* error);

// Runs `action` so that no exception leaves it; gives its code, and tells a person the line of a
// failure that a person could mend.
DWORD ContainFunction(const std::function<void()>& action);
template <class Action>
DWORD Contain(const Action& action) {
    return ContainFunction(std::cref(action));  // which takes no memory
}

// The code of the fault that strikes this call, 0 for none. Counts the calls of this program, anew
// when the device's faults change.
DWORD FaultOf(EOperation operation, const std::string& folder, const CSettings& settings);

void RecordCall(const CSession& session, EOperation operation, const std::string& note, DWORD code);
