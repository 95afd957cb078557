#include "simulator/line_format.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kFullScale = 65535;
// Of 255: a single bit is white from the middle of the scale on.
constexpr std::uint8_t kWhiteFrom = 128;

// Weights of the television standard, in 1/1000: 0.299, 0.587, 0.114, rounded.
std::uint16_t NtscGray(const std::uint16_t* rgb) {
    return static_cast<std::uint16_t>((299u * rgb[0] + 587u * rgb[1] + 114u * rgb[2] + 500) / 1000);
}

// As a sensor without colour sees it: the middle of the spectrum counts double.
std::uint16_t SensorGray(const std::uint16_t* rgb) {
    return static_cast<std::uint16_t>((rgb[0] + 2u * rgb[1] + rgb[2] + 2) / 4);
}

// A sample's noise follows from its place and the seed alone, so that a scan can be repeated bit by
// bit, in pieces of any size. The constants are odd numbers with their bits well mixed; each step
// spreads the high bits over the low ones.
std::uint32_t Hash(std::uint32_t sample, std::uint32_t line, std::uint32_t seed) {
    std::uint32_t h =
        sample * 0x9E3779B1u ^ (line + 0x7F4A7C15u) * 0x85EBCA6Bu ^ seed * 0xC2B2AE35u;
    h = (h ^ h >> 16) * 0x7FEB352Du;
    h = (h ^ h >> 15) * 0x846CA68Bu;
    return h ^ h >> 16;
}

// What a matrix gives beyond black or white is black or white. Written so that not-a-number is
// black.
std::uint16_t Held(double light) {
    return static_cast<std::uint16_t>(light > 0.0 ? std::min(light + 0.5, 65535.0) : 0.0);
}

}  // namespace

// ---- CToneMap

// Each entry is brought to full scale once, here, so that a sample costs one look.
CToneMap::CToneMap(std::uint32_t length, std::uint32_t largest, std::uint32_t entrySize,
                   const void* red, const void* green, const void* blue)
    : m_length(length) {
    const void* const sources[] = {red, green, blue};
    for (std::size_t color = 0; color < 3; ++color) {
        const auto* bytes = static_cast<const std::uint8_t*>(sources[color]);
        for (std::uint32_t i = 0; i < length; ++i, bytes += entrySize) {
            const std::uint32_t entry = entrySize == 1 ? bytes[0] : bytes[0] | bytes[1] << 8;
            const std::uint64_t value = std::min(entry, largest);
            m_tables[color].push_back(
                static_cast<std::uint16_t>((value * kFullScale + largest / 2) / largest));
        }
    }
}

// ---- CLineFormat

// Plain 8-bit colour is most of what is scanned, and there a sample depends on one value of the
// medium alone: 256 results for each colour, made ahead.
CLineFormat::CLineFormat(const CLineFormatSettings& settings, const CLightTables* light)
    : m_settings(settings) {
    m_hasValueTables = settings.m_channel == EChannel::Color && settings.m_bits == 8 &&
                       !settings.m_hasMatrix && settings.m_noise == 0;
    if (!m_hasValueTables)
        return;
    // Tables that change nothing needn't be gone through: the medium's bytes are the scan's.
    m_valuesStay = true;
    for (std::size_t color = 0; color < 3; ++color) {
        for (std::size_t i = 0; i < 256; ++i) {
            const auto value = static_cast<std::uint8_t>(i);
            const std::uint16_t sensed = light ? (*light)[color][i] : LightOf(value);
            m_values[color][i] =
                Light8Of(settings.m_toneMap ? settings.m_toneMap->Map(color, sensed) : sensed);
            m_valuesStay = m_valuesStay && m_values[color][i] == value;
        }
    }
}

// Single bits fill up to a whole byte.
std::size_t CLineFormat::LineBytes(std::uint32_t pixels) const {
    const std::size_t samples = m_settings.m_channel == EChannel::Color ? 3 : 1;
    return (samples * pixels * m_settings.m_bits + 7) / 8;
}

void CLineFormat::ConvertValues(std::uint8_t* rgb, std::uint32_t pixels) const {
    if (m_valuesStay)
        return;
    for (std::uint32_t i = 0; i < pixels; ++i, rgb += 3) {
        rgb[0] = m_values[0][rgb[0]];
        rgb[1] = m_values[1][rgb[1]];
        rgb[2] = m_values[2][rgb[2]];
    }
}

void CLineFormat::ApplyMatrix(std::uint16_t* rgb, std::uint32_t pixels) const {
    const auto& m = m_settings.m_matrix;
    for (std::uint32_t i = 0; i < pixels; ++i, rgb += 3) {
        const double red = rgb[0];
        const double green = rgb[1];
        const double blue = rgb[2];
        rgb[0] = Held(m[0] * red + m[1] * green + m[2] * blue);
        rgb[1] = Held(m[3] * red + m[4] * green + m[5] * blue);
        rgb[2] = Held(m[6] * red + m[7] * green + m[8] * blue);
    }
}

// Errors are spread evenly from -noise to +noise, in steps of 8 bits, which are 257 of the light.
void CLineFormat::AddNoise(std::uint32_t line, std::uint16_t* rgb, std::uint32_t pixels) const {
    const auto most = static_cast<std::int64_t>(m_settings.m_noise) * 257;
    for (std::uint32_t i = 0; i < 3 * pixels; ++i) {
        const std::int64_t error =
            most * (static_cast<std::int64_t>(Hash(i, line, m_settings.m_seed) & 0xFFFF) - 32768) /
            32768;
        rgb[i] =
            static_cast<std::uint16_t>(std::clamp<std::int64_t>(rgb[i] + error, 0, kFullScale));
    }
}

// In place: sample i is written at i and read at 3 i and behind, which is never less.
void CLineFormat::PickChannel(std::uint16_t* rgb, std::uint32_t pixels) const {
    std::uint16_t* out = rgb;
    switch (m_settings.m_channel) {
        case EChannel::Color:
            return;
        case EChannel::Ntsc:
            for (std::uint32_t i = 0; i < pixels; ++i)
                out[i] = NtscGray(rgb + std::size_t{i} * 3);
            return;
        case EChannel::DeviceGray:
            for (std::uint32_t i = 0; i < pixels; ++i)
                out[i] = SensorGray(rgb + std::size_t{i} * 3);
            return;
        default:
            break;
    }
    const std::size_t color =
        static_cast<std::size_t>(m_settings.m_channel) - static_cast<std::size_t>(EChannel::Red);
    for (std::uint32_t i = 0; i < pixels; ++i)
        out[i] = rgb[std::size_t{i} * 3 + color];
}

// A gray that is made of the three colours goes through the table of the middle one.
void CLineFormat::ApplyToneMap(std::uint16_t* samples, std::size_t count) const {
    const CToneMap& map = *m_settings.m_toneMap;
    if (m_settings.m_channel == EChannel::Color) {
        for (std::size_t i = 0; i < count; ++i)
            samples[i] = map.Map(i % 3, samples[i]);
        return;
    }
    const std::size_t color = m_settings.m_channel == EChannel::Red    ? 0
                              : m_settings.m_channel == EChannel::Blue ? 2
                                                                       : 1;
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = map.Map(color, samples[i]);
}

// The order is that of the device: matrix and noise belong to the sensor, channel and tone map to
// what it makes of it.
void CLineFormat::Convert(std::uint32_t line, std::uint16_t* light, std::uint32_t pixels,
                          std::uint8_t* out) const {
    if (m_settings.m_hasMatrix)
        ApplyMatrix(light, pixels);
    if (m_settings.m_noise > 0)
        AddNoise(line, light, pixels);
    PickChannel(light, pixels);
    const std::size_t samples =
        m_settings.m_channel == EChannel::Color ? std::size_t{pixels} * 3 : pixels;
    if (m_settings.m_toneMap)
        ApplyToneMap(light, samples);
    if (m_settings.m_bits == 16) {
        for (std::size_t i = 0; i < samples; ++i) {
            out[2 * i] = static_cast<std::uint8_t>(light[i] & 0xFF);
            out[2 * i + 1] = static_cast<std::uint8_t>(light[i] >> 8);
        }
    } else if (m_settings.m_bits == 8) {
        for (std::size_t i = 0; i < samples; ++i)
            out[i] = Light8Of(light[i]);
    } else {
        std::fill_n(out, (samples + 7) / 8, std::uint8_t{0});
        for (std::size_t i = 0; i < samples; ++i) {
            if (Light8Of(light[i]) >= kWhiteFrom)
                out[i / 8] = static_cast<std::uint8_t>(out[i / 8] | 0x80 >> i % 8);
        }
    }
}
