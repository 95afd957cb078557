#include "simulator/device_state.h"

#include <charconv>
#include <fstream>
#include <iterator>
#include <string_view>

#include "controller/toolkit.h"
#include "platform/passing_file.h"
#include "simulator/sim_failure.h"

namespace {

// Far more than a state has; what stands behind is not read.
constexpr std::size_t kMostBytes = 65536;

struct CNumberRow {
    const char* name;
    std::uint64_t CDeviceState::*value;
};
constexpr CNumberRow kNumbers[] = {
#define NVQ_SIM_ROW(name) {#name, &CDeviceState::name},
    NVQ_SIM_STATE(NVQ_SIM_ROW)
#undef NVQ_SIM_ROW
};

struct CTextRow {
    const char* name;
    std::string CDeviceState::*value;
};
constexpr CTextRow kTexts[] = {
    {"owner", &CDeviceState::owner},
    {"panelText", &CDeviceState::panelText},
    {"lastViolation", &CDeviceState::lastViolation},
};

// A value that can't be read leaves the fresh one, and a name that isn't known is passed over:
// files of other versions are read as far as they go.
void TakeLine(std::string_view line, CDeviceState& state) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return;
    const std::string_view name = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    for (const CNumberRow& row : kNumbers) {
        if (name == row.name)
            std::from_chars(value.data(), value.data() + value.size(), state.*row.value);
    }
    for (const CTextRow& row : kTexts) {
        if (name == row.name)
            state.*row.value = value;
    }
}

// A text that would break the file's lines loses its line ends.
std::string OneLine(std::string text) {
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ')
            c = ' ';
    }
    return text;
}

}  // namespace

CDeviceState LoadState(const std::string& path, const CDeviceState& fresh) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return fresh;
    std::string text(kMostBytes, 0);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    CDeviceState state = fresh;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t end = rest.find('\n');
        TakeLine(rest.substr(0, end), state);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    return state;
}

// The guard between programs keeps other writers off, so one name beside the file is enough.
void SaveState(const std::string& path, const CDeviceState& state) {
    std::string text;
    for (const CNumberRow& row : kNumbers)
        text.append(row.name).append("=").append(std::to_string(state.*row.value)) += '\n';
    for (const CTextRow& row : kTexts)
        text.append(row.name).append("=").append(OneLine(state.*row.value)) += '\n';
    if (const std::error_code error = StoreFile(path, text, {.name = CPassingFile::Name::Beside}))
        throw CSimFailure(OSTREL_COMMUNICATION, path + ": " + error.message());
}
