#include "sane-backend/config.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "sane-backend/debug.h"

namespace {

constexpr const char* kSystemFolder = "/etc/sane.d";
// More is no configuration.
constexpr std::size_t kMostLines = 10000;

bool Means(const std::string& text, const ScanDeviceInfo& device) {
    return text == device.number || text == device.id || text == device.name || text == device.port;
}

// Words, or texts between quotation marks, up to a '#'. False when such a text has no end.
bool FindWords(const std::string& line, std::vector<std::string>& words) {
    std::istringstream stream(line);
    std::string word;
    while (stream >> std::ws && stream.peek() != '#') {
        const bool isQuoted = stream.peek() == '"';
        stream >> std::quoted(word);
        if (!stream)
            return !isQuoted;
        words.push_back(word);
    }
    return true;
}

bool TakeWords(const std::vector<std::string>& words, BackendConfig& config) {
    const std::string& verb = words[0];
    if (verb == "hide" && words.size() == 2)
        config.hidden.push_back(words[1]);
    else if (verb == "name" && words.size() == 3)
        config.names.emplace_back(words[1], words[2]);
    else if (verb == "simulated" && words.size() == 2 && (words[1] == "on" || words[1] == "off"))
        config.simulated = words[1] == "on";
    else
        return false;
    return true;
}

std::vector<std::string> ConfigFolders() {
    const char* told = std::getenv("SANE_CONFIG_DIR");
    const std::string own = told ? told : "";
    std::vector<std::string> folders;
    std::istringstream list(own);
    for (std::string folder; std::getline(list, folder, ':');) {
        if (!folder.empty())
            folders.push_back(folder);
    }
    if (own.empty() || own.ends_with(':'))
        folders.insert(folders.end(), {".", kSystemFolder});
    return folders;
}

}  // namespace

bool BackendConfig::Hides(const ScanDeviceInfo& device) const {
    return std::ranges::any_of(hidden,
                               [&](const std::string& text) { return Means(text, device); });
}

std::string BackendConfig::NameOf(const ScanDeviceInfo& device) const {
    const auto row = std::find_if(names.rbegin(), names.rend(),
                                  [&](const auto& name) { return Means(name.first, device); });
    return row == names.rend() ? device.name : row->second;
}

BackendConfig ParseConfig(std::istream& file) {
    BackendConfig config;
    std::string line;
    std::size_t number = 0;
    while (std::getline(file, line)) {
        if (++number > kMostLines) {
            Debug(EDebug::Failures, "nvq.conf: what stands behind line ",
                  std::to_string(kMostLines), " is passed over");
            break;
        }
        std::vector<std::string> words;
        const bool isWhole = FindWords(line, words);
        if (!isWhole || (!words.empty() && !TakeWords(words, config)))
            Debug(EDebug::Failures, "nvq.conf, line ", std::to_string(number),
                  ": is none of 'hide NAME', 'name NAME \"SHOWN\"' and "
                  "'simulated on|off'; it is passed over");
    }
    return config;
}

BackendConfig ReadConfig() {
    for (const std::string& folder : ConfigFolders()) {
        std::ifstream file(folder + "/nvq.conf");
        if (file)
            return ParseConfig(file);
    }
    return {};
}
