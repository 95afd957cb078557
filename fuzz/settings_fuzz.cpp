// Anything as the settings of a simulated device: as its model's file, and as its own settings over
// the standard model.
#include <string_view>

#include "fuzz/fuzz.h"
#include "simulator/model_store.h"
#include "simulator/settings.h"
#include "simulator/sim_failure.h"

namespace {

// What the rest of the simulator counts on: it divides by resolutions, and makes lines of a bed.
void RequireSound(const CSettings& settings) {
    Require(!settings.m_model.empty() && settings.m_model.size() < kOstrelModelChars);
    const OstrelDeviceCaps& device = settings.m_numbers.m_device;
    Require(device.minResolution != 0 && device.maxXResolution >= device.minResolution);
    Require(device.bedWidth != 0 && device.bedHeight != 0 && device.colorDepths[0] != 0);
    for (const OstrelMedia& media : settings.m_media)
        Require(media.width != 0 && media.height != 0);
    for (const CFaultPlan& plan : settings.m_faults) {
        for (const CFault& fault : plan.m_faults)
            Require(fault.m_call != 0 && fault.m_code != 0);
    }
}

// A refusal has a code for the driver, and words for who wrote the file.
template <class Action>
void Try(Action action) {
    try {
        action();
    } catch (const CSimFailure& failure) {
        Require(failure.Code() != 0 && *failure.what() != 0);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const CSettings standard = LoadModel(kDefaultModel);
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Try([text] { RequireSound(ReadModel(CIniFile("model", text), "/folder")); });
    Try([text] {
        CSettings settings = standard;
        ApplyDeviceSettings(CIniFile("device", text), "/folder", settings);
        RequireSound(settings);
    });
    return 0;
}
