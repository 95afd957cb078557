// One session with a simulated device, as OpenDevice makes it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "simulator/device_folder.h"
#include "simulator/lamp.h"
#include "simulator/page_scan.h"
#include "simulator/scan_plan.h"
#include "simulator/settings.h"

// A scan from StartScan to EndScan.
// Shared with the thread that reads: a scan that is ended under it stays until its read comes back.
struct CRunningScan {
    std::mutex m_reading;  // guards the scan's lines
    std::unique_ptr<CPageScan> m_page;
    CScanPlan m_plan;
    bool m_readBegun = false;
    std::uint64_t m_startTime = 0;  // of the carriage
    std::uint32_t m_endLine = 0;    // the medium ends here
    DWORD m_endStatus = OSTREL_END_OF_MEDIA;
    std::uint32_t m_jamLine = 0;  // 0: none
};

struct CSession {
    CSession(DWORD id, CDeviceFolder folder);

    // The settings as the device's file has them now; a faulty file is told once and changes
    // nothing.
    void RefreshSettings();

    const DWORD m_id;
    const CDeviceFolder m_folder;
    const std::string m_tag;  // tells this session from those of all programs
    std::shared_ptr<const CSettings> m_settings;
    std::string m_iniText;

    std::mutex m_mutex;  // one operation of a session at a time, but for the reading of lines
    bool m_closed = false;
    CHandle m_stateGuard;
    CHandle m_deviceLock;
    CHandle m_pipe;  // open, so that no event gets lost while nobody waits for it
    std::uint32_t m_lockDepth = 0;

    // Below: guarded by m_mutex, as the device's other threads may end the session.
    bool m_openFinished = false;
    ELamp m_lamp = kFlatbedLamp;       // that the session lit last
    ELamp m_calibratedLamp = kNoLamp;  // for which its calibration holds
    ELamp m_wantedLamp = kNoLamp;      // of the parameters given last
    std::shared_ptr<const CToneMap> m_toneMap;
    bool m_hasMatrix = false;
    std::array<double, 9> m_matrix = {};
    std::uint32_t m_gateState = 0;  // 0: closed
    std::shared_ptr<CRunningScan> m_scan;
};

// A new state for a device that has none.
CDeviceState FreshState(const CSettings& settings);
