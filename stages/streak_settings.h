// The settings file of the removal of streaks, "streak.ini":
//
//     [Streak]
//     Use Restrictions=2
//     Destreak kernel size=5
#pragma once

#include <cstdint>

struct QLStreakSettings {
    std::int32_t m_restriction = 2;  // "Use Restrictions", 0 to 5
    std::int32_t m_meanSize = 5;     // "Destreak kernel size", 3 or 5: side of a window, in pixels
};

// Reads the file in the folder of the module "nvqscn" (without one, in the program's), in nvqdrv in
// the user's configuration folder, and in the folder that NVQ_CONFIG_DIR names; what stands in a
// later one goes ahead. What stands nowhere, and what is out of range, is as above.
QLStreakSettings ReadStreakSettings();
