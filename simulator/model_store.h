// Where models and devices come from: files of the user, and those that the module carries.
#pragma once

#include <memory>
#include <string>

#include "simulator/settings.h"

// A file that the build packed into the module.
struct CEmbeddedFile {
    const char* name;
    const char* text;
};
extern const CEmbeddedFile kEmbeddedModels[];
extern const std::size_t kEmbeddedModelCount;

// The model's file "NAME.ini" in $NVQ_SIM_MODELS, in nvqdrv/models of the user's data folder, or
// in the module. Throws CSimFailure if there is none or it is faulty.
CSettings LoadModel(const std::string& name);

// The settings of the device in a folder: its device.ini over the model that it names; without a
// file, or without a name in it, the default model.
CSettings LoadDeviceSettings(const std::string& folder);

// The text of a device's profile; empty if it has none.
std::string LoadDeviceProfile(const CSettings& settings);
