// The bench source by the registry: a bitmap file that is scanned in place of a device.
#pragma once

#include <string>

#include "platform/registry.h"

inline void SetBenchSource(const std::string& path, DWORD on = 1) {
    constexpr char kKey[] = "Software\\Norvane\\Varnook";
    RegSetProcessValue(HKEY_CURRENT_USER, kKey, "ScanFromFile", REG_DWORD, &on, sizeof(on));
    RegSetProcessValue(HKEY_CURRENT_USER, kKey, "ScanFilePath", REG_SZ, path.c_str(),
                       static_cast<DWORD>(path.size() + 1));
}
