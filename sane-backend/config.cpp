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

// Words, or texts between quotation marks, up to a '#'.
std::vector<std::string> WordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    std::string word;
    while (stream >> std::ws && stream.peek() != '#' && stream >> std::quoted(word))
        words.push_back(word);
    return words;
}

bool TakeWords(const std::vector<std::string>& words, BackendConfig& config) {
    const std::string& verb = words[0];
    if (verb == "hide" && words.size() == 2)
        config.hidden.push_back(words[1]);
    else if (verb == "name" && words.size() == 3)
        config.names[words[1]] = words[2];
    else if (verb == "simulated" && words.size() == 2 && (words[1] == "on" || words[1] == "off"))
        config.simulated = words[1] == "on";
    else
        return false;
    return true;
}

std::vector<std::string> ConfigFolders() {
    const char* own = std::getenv("SANE_CONFIG_DIR");
    if (!own || !*own)
        return {kSystemFolder};
    std::vector<std::string> folders;
    std::istringstream list(own);
    for (std::string folder; std::getline(list, folder, ':');)
        folders.push_back(folder);
    if (std::string(own).ends_with(':'))
        folders.emplace_back(kSystemFolder);
    return folders;
}

}  // namespace

bool BackendConfig::Hides(const ScanDeviceInfo& device) const {
    return std::ranges::any_of(hidden,
                               [&](const std::string& text) { return Means(text, device); });
}

std::string BackendConfig::NameOf(const ScanDeviceInfo& device) const {
    const auto row =
        std::ranges::find_if(names, [&](const auto& name) { return Means(name.first, device); });
    return row == names.end() ? device.name : row->second;
}

BackendConfig ParseConfig(std::istream& file) {
    BackendConfig config;
    std::string line;
    for (std::size_t number = 1; number <= kMostLines && std::getline(file, line); ++number) {
        const std::vector<std::string> words = WordsOf(line);
        if (!words.empty() && !TakeWords(words, config))
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
