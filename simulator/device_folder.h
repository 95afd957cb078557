// A simulated device's folder: where it lies, its clock, its lock, and what a person does to it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sync.h"
#include "platform/unique_handle.h"

// Milliseconds for which a press waits to be read, unless the scanner is in use.
inline constexpr std::uint64_t kPressHeld = 60000;

class CDeviceFolder {
  public:
    // From the name that OpenDevice gets: the path of the device's port. Throws CSimFailure with
    // OSTREL_NOT_FOUND if there is no such folder, or it is no device's.
    static CDeviceFolder FromPort(const std::string& port);
    explicit CDeviceFolder(std::string path) : m_path(std::move(path)) {}

    const std::string& Path() const { return m_path; }
    std::string Port() const { return m_path + "/port"; }
    std::string State() const { return m_path + "/state"; }
    std::string Calls() const { return m_path + "/calls.log"; }
    std::string Panel() const { return m_path + "/panel"; }

    // Milliseconds that never go back. A file "clock" in the folder stands for the time: tests
    // set it.
    std::uint64_t Now() const;
    // Sleeps, or moves the file's time on.
    void SleepUntil(std::uint64_t time) const;

    // What a person has done since the last call, in no particular order; each is told once, and a
    // press that has become old isn't.
    std::vector<std::string> TakeActs() const;

    // A semaphore between all programs, for one purpose: "lock" is the scanner's, "state" guards
    // the state's file.
    CHandle Semaphore(const char* purpose) const;

  private:
    std::string m_path;
};
