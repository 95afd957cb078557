#include "simulator/session.h"

#include <filesystem>

#include "platform/module.h"
#include "platform/sync.h"
#include "platform/told_lines.h"
#include "simulator/model_store.h"
#include "simulator/sim_failure.h"

namespace {

// Compared as text: a file that was saved without a change is no new one.
std::string IniText(const std::string& folder) {
    const std::string path = folder + "/device.ini";
    std::error_code error;
    return std::filesystem::exists(path, error) ? ReadSettingsText(path) : std::string();
}

}  // namespace

CSession::CSession(DWORD id, CDeviceFolder folder)
    : m_id(id),
      m_folder(std::move(folder)),
      // Process and session: two programs that have the device open have different ones.
      m_tag(std::to_string(GetCurrentProcessId()) + '.' + std::to_string(id)),
      m_settings(std::make_shared<const CSettings>(LoadDeviceSettings(m_folder.Path()))),
      m_iniText(IniText(m_folder.Path())),
      m_stateGuard(m_folder.Semaphore("state")),
      m_deviceLock(m_folder.Semaphore("lock")) {}

// Called with the first level of a lock, when no scan of the session is under way. The text is
// remembered also when it is faulty, so that it is told once.
void CSession::RefreshSettings() {
    try {
        std::string text = IniText(m_folder.Path());
        if (text == m_iniText)
            return;
        m_iniText = std::move(text);
        auto settings = std::make_shared<const CSettings>(LoadDeviceSettings(m_folder.Path()));
        if (settings->m_model != m_settings->m_model)
            throw CSimFailure(
                OSTREL_OPEN_FAILED,
                m_folder.Path() + ": another model needs the device to be opened anew");
        m_settings = std::move(settings);
    } catch (const CSimFailure& failure) {
        const std::string line = failure.what() + std::string("; the settings stay as they were");
        if (!TellWarning(line))
            OutputDebugStringA(("nvqsim: " + line + '\n').c_str());
    }
}

// What the settings call "at first" counts here, and never again as long as the state's file
// stands.
CDeviceState FreshState(const CSettings& settings) {
    constexpr std::uint64_t kNeverSet = 0xFFFFFFFFu;
    const CNumbers& numbers = settings.m_numbers;
    CDeviceState state;
    state.lampTimeout = numbers.m_lampTimeout;
    state.sheetsInTray = numbers.m_sheets;
    state.nextSheet = 1;
    state.duplexSwitch = numbers.m_duplexSwitch;
    state.hatchOpen = numbers.m_hatchOpen;
    state.film = numbers.m_film;
    state.pendingTask = numbers.m_pendingTask;
    state.nvramScanCount = kNeverSet;
    return state;
}
