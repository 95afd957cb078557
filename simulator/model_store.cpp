#include "simulator/model_store.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "platform/known_folders.h"
#include "simulator/sim_failure.h"

namespace {

// Stands in place of a folder in paths of the module's own models.
constexpr const char* kEmbedded = "embedded:";

bool IsFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

// The folders of the user's own models.
std::vector<std::string> ModelFolders() {
    std::vector<std::string> folders;
    if (const char* own = std::getenv("NVQ_SIM_MODELS"); own && *own)
        folders.emplace_back(own);
    char data[MAX_PATH] = {};
    if (SHGetFolderPathA(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, data) == S_OK)
        folders.push_back(std::string(data) + "/nvqdrv/models");
    return folders;
}

// By the file's name, with its ending.
const char* EmbeddedText(const std::string& name) {
    for (std::size_t i = 0; i < kEmbeddedModelCount; ++i) {
        if (name == kEmbeddedModels[i].name)
            return kEmbeddedModels[i].text;
    }
    return nullptr;
}

// "SIM100F, SIM200S"; the files are profiles too.
std::string EmbeddedModels() {
    constexpr std::string_view kEnding = ".ini";
    std::string names;
    for (std::size_t i = 0; i < kEmbeddedModelCount; ++i) {
        const std::string_view file = kEmbeddedModels[i].name;
        if (file.ends_with(kEnding)) {
            names += names.empty() ? "" : ", ";
            names += file.substr(0, file.size() - kEnding.size());
        }
    }
    return names;
}

// A model that is found by one name and calls itself by another would get the wrong profile.
CSettings Checked(const CSettings& settings, const std::string& name, const CIniFile& ini) {
    if (settings.m_model != name)
        ini.Fail(0, "is the model \"" + settings.m_model + "\", and its file must be named so");
    return settings;
}

}  // namespace

// The user's own come first, so that a copy of a built-in model can stand in for it.
CSettings LoadModel(const std::string& name) {
    // The name becomes part of a path.
    if (name.empty() || name.find('/') != std::string::npos)
        throw CSimFailure(OSTREL_OPEN_FAILED, '"' + name + "\" is no name of a model");
    const std::string file = name + ".ini";
    for (const std::string& folder : ModelFolders()) {
        std::string path = folder;
        path.append("/").append(file);
        if (IsFile(path)) {
            const CIniFile ini(path, ReadSettingsText(path));
            return Checked(ReadModel(ini, folder), name, ini);
        }
    }
    if (const char* text = EmbeddedText(file)) {
        const CIniFile ini(name, text);
        return Checked(ReadModel(ini, kEmbedded), name, ini);
    }
    throw CSimFailure(OSTREL_OPEN_FAILED, "there is no model \"" + name +
                                              "\"; the built-in ones are " + EmbeddedModels());
}

// A device without a file is the default model as it is: a folder is enough to make one.
CSettings LoadDeviceSettings(const std::string& folder) {
    const std::string path = folder + "/device.ini";
    const CIniFile ini(path, IsFile(path) ? ReadSettingsText(path) : std::string());
    const std::string model = ini.Find("simulator", "model");
    CSettings settings = LoadModel(model.empty() ? kDefaultModel : model);
    ApplyDeviceSettings(ini, folder, settings);
    return settings;
}

// Read anew at each question, so that a profile can be changed without opening the device again.
std::string LoadDeviceProfile(const CSettings& settings) {
    if (settings.m_profile.empty() || settings.m_profile == kNoPicture)
        return {};
    const std::string embedded = std::string(kEmbedded) + '/';
    if (!settings.m_profile.starts_with(embedded))
        return ReadSettingsText(settings.m_profile);
    const char* text = EmbeddedText(settings.m_profile.substr(embedded.size()));
    if (!text)
        throw CSimFailure(OSTREL_NO_FIRMWARE_PROFILE, settings.m_profile + " isn't there");
    return text;
}
