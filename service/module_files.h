// The modules of drivers and toolkits: where their files are, and their own registration.
#pragma once

#include <string>
#include <vector>

#include "platform/types.h"
#include "service/scan_status.h"

// The file of a module: an absolute path as it is, a name in $NVQ_MODULE_DIR if that is set, else
// beside this library, beside the program, and in the folders of an installation. The text of a
// failure tells where it was looked for.
ScanStatus FindModuleFile(const std::string& name, std::string& file);

// Calls DllRegisterServer or DllUnregisterServer, which the module exports.
ScanStatus RegisterModule(const std::string& file);
ScanStatus UnregisterModule(const std::string& file);

// The classes that the registry says are in the module.
std::vector<CLSID> ClassesOfModule(const std::string& file);
