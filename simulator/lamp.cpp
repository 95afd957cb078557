#include "simulator/lamp.h"

namespace {

constexpr std::uint64_t kMinute = 60'000;
constexpr std::uint64_t kSecond = 1'000;

}  // namespace

// A clock that reads less than before has been started anew, and the device with it.
ELamp BurningLamp(const CDeviceState& state, std::uint64_t now) {
    const bool burns = now >= state.lampLit && now >= state.lampTouched &&
                       now - state.lampTouched < state.lampTimeout * kMinute;
    return burns ? static_cast<ELamp>(state.lamp) : kNoLamp;
}

// The warm-up counts from the moment when it was dark, the time-out from the last touch.
bool LightLamp(CDeviceState& state, ELamp lamp, std::uint64_t now) {
    const bool dark = BurningLamp(state, now) != lamp;
    if (dark)
        state.lampLit = now;
    state.lamp = lamp;
    state.lampTouched = now;
    return dark;
}

// Instant warm-up is a setting of the device: the lamp then counts as warm as soon as it burns.
std::uint64_t WarmAt(const CSettings& settings, const CDeviceState& state) {
    if (state.instantLamp != 0)
        return state.lampLit;
    const std::uint64_t seconds = state.lamp == kAdapterLamp
                                      ? settings.m_numbers.m_xpa.lampWarmUpXPA
                                      : settings.m_numbers.m_device.lampWarmUpFlatbed;
    return state.lampLit + seconds * kSecond;
}
