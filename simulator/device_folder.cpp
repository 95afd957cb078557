#include "simulator/device_folder.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <utility>

#include "controller/toolkit.h"
#include "platform/passing_file.h"
#include "platform/sync.h"
#include "platform/told_lines.h"
#include "simulator/sim_failure.h"

namespace {

using Milliseconds = std::chrono::milliseconds;

// A file that holds no number is as good as none: the machine's clock counts then.
bool ReadClockFile(const std::string& path, std::uint64_t& time) {
    std::ifstream file(path);
    return static_cast<bool>(file >> time);
}

// Whoever makes a device leaves its settings there, or an installation its port and its panel. In
// any other folder nothing is made.
bool IsDeviceFolder(const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    std::error_code error;
    return fs::is_directory(folder, error) &&
           (fs::exists(folder / "device.ini", error) ||
            (fs::is_fifo(folder / "port", error) && fs::is_directory(folder / "panel", error)));
}

// A press that nobody wanted to hear of when it was made.
bool IsForgotten(const std::filesystem::path& act) {
    const std::string name = act.filename().string();
    std::error_code error;
    const auto made = std::filesystem::last_write_time(act, error);
    return name.starts_with("press-") && !error &&
           std::filesystem::file_time_type::clock::now() - made > Milliseconds(kPressHeld);
}

}  // namespace

// The canonical path, because locks are named after it: a device reached by a link is the same
// device.
CDeviceFolder CDeviceFolder::FromPort(const std::string& port) {
    std::error_code error;
    const auto folder =
        std::filesystem::canonical(std::filesystem::path(port).parent_path(), error);
    if (port.empty() || port.front() != '/' || error || !IsDeviceFolder(folder))
        throw CSimFailure(
            OSTREL_NOT_FOUND,
            port + ": is no simulated scanner's port, as its folder has no device.ini");
    return CDeviceFolder(folder.string());
}

std::uint64_t CDeviceFolder::Now() const {
    if (std::uint64_t time = 0; ReadClockFile(m_path + "/clock", time))
        return time;
    // Counts from the machine's start, the same for all programs, so that they agree about a lamp's
    // warm-up.
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<Milliseconds>(now).count());
}

void CDeviceFolder::SleepUntil(std::uint64_t time) const {
    const std::string clock = m_path + "/clock";
    std::uint64_t now = 0;
    if (!ReadClockFile(clock, now)) {
        now = Now();
        if (time > now)
            Sleep(static_cast<DWORD>(time - now));
        return;
    }
    // A clock that a test has set is moved on, never back.
    if (time <= now)
        return;
    StoreFile(clock, std::to_string(time) + '\n', {.name = CPassingFile::Name::Beside});
}

std::vector<std::string> CDeviceFolder::TakeActs() const {
    namespace fs = std::filesystem;
    std::vector<std::string> acts;
    std::error_code error;
    for (fs::directory_iterator entry(Panel(), error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code removal;
        const bool isForgotten = IsForgotten(entry->path());
        // Who removes the file has seen the act; another program may have been faster.
        if (fs::remove(entry->path(), removal) && !isForgotten)
            acts.push_back(entry->path().filename().string());
    }
    return acts;
}

// Named after the folder, so that programs meet there that know nothing of each other.
CHandle CDeviceFolder::Semaphore(const char* purpose) const {
    const CToldLines told;
    CHandle semaphore(
        CreateSemaphoreA(nullptr, 1, 1, ("nvqsim-" + std::string(purpose) + m_path).c_str()));
    if (!semaphore)
        throw CSimFailure(OSTREL_COMMUNICATION, told.Cause());
    return semaphore;
}
