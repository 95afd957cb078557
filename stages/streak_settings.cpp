#include "stages/streak_settings.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "platform/known_folders.h"
#include "platform/module.h"

namespace {

constexpr char kModule[] = "nvqscn";
constexpr char kSection[] = "Streak";
constexpr char kOwnFolderVariable[] = "NVQ_CONFIG_DIR";

using Path = char[2 * MAX_PATH];

// Each puts the file of one place into `path`. False for one that isn't there.
bool OwnPath(Path& path) {
    const char* folder = std::getenv(kOwnFolderVariable);
    const int length =
        folder && *folder ? std::snprintf(path, sizeof(path), "%s/streak.ini", folder) : -1;
    return length >= 0 && static_cast<std::size_t>(length) < sizeof(path);
}

bool UserPath(Path& path) {
    char folder[MAX_PATH] = "";
    if (SHGetFolderPathA(nullptr, CSIDL_APPDATA, nullptr, 0, folder) != S_OK)
        return false;
    std::snprintf(path, sizeof(path), "%s/nvqdrv/streak.ini", folder);
    return true;
}

bool ModulePath(Path& path) {
    char file[MAX_PATH] = "";
    const DWORD length = GetModuleFileNameA(GetModuleHandleA(kModule), file, sizeof(file));
    char* name = std::strrchr(file, '/');
    if (length == 0 || length == sizeof(file) || !name)
        return false;
    *name = '\0';
    std::snprintf(path, sizeof(path), "%s/streak.ini", file);
    return true;
}

// The one that goes ahead of the others first.
constexpr bool (*kPlaces[])(Path&) = {&OwnPath, &UserPath, &ModulePath};

// The number of the first place that has the key; `missing` for none. Text that is no number is 0.
std::int32_t ReadNumber(const char* key, std::int32_t missing) {
    for (const auto place : kPlaces) {
        Path path;
        char text[32];
        if (place(path) && GetPrivateProfileStringA(kSection, key, "", text, sizeof(text), path))
            return static_cast<std::int32_t>(std::clamp(std::strtol(text, nullptr, 10), -1L, 99L));
    }
    return missing;
}

}  // namespace

QLStreakSettings ReadStreakSettings() {
    QLStreakSettings settings;
    const std::int32_t restriction = ReadNumber("Use Restrictions", settings.m_restriction);
    if (restriction >= 0 && restriction <= 5)
        settings.m_restriction = restriction;
    const std::int32_t size = ReadNumber("Destreak kernel size", settings.m_meanSize);
    if (size == 3 || size == 5)
        settings.m_meanSize = size;
    return settings;
}
