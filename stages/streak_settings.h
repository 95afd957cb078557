// What the removal of streaks can be set to, and its settings file, "streak.ini":
//
//     [Streak]
//     Use Restrictions=2
//     Destreak kernel size=5
#pragma once

#include <cstdint>

// The highest values of the attributes: work modes, of which 0 is off, channels counted from 1, and
// limits in roots.
inline constexpr std::int32_t QL_MOST_STREAK_REMOVAL = 2;
inline constexpr std::int32_t QL_STREAK_CHANNELS = 3;
inline constexpr std::int32_t QL_MOST_STREAK_LIMIT = 65535;

struct QLStreakSettings {
    std::int32_t m_restriction = 2;  // "Use Restrictions", 0 to 5
    std::int32_t m_meanSize = 5;     // "Destreak kernel size", 3 or 5: side of a window, in pixels
};

// Reads the file in the folder of the module "nvqscn" (without one, in the program's), in nvqdrv in
// the user's configuration folder, and in the folder that NVQ_CONFIG_DIR names; what stands in a
// later one goes ahead. What stands nowhere, and what is out of range, is as above.
QLStreakSettings ReadStreakSettings();
