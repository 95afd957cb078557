// The folder of a simulated device for a test, and pictures to lay on it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/bitmap_headers.h"
#include "simulator/device_state.h"
#include "tests/platform/test_folder.h"

using Bytes = std::vector<std::uint8_t>;

class CDeviceRig {
  public:
    explicit CDeviceRig(const std::string& ini = {}) {
        static int number = 0;
        m_path = TestFolder() + "/device" + std::to_string(++number);
        std::filesystem::create_directories(m_path);
        SetIni(ini);
    }

    const std::string& Path() const { return m_path; }
    std::u16string Port() const { return std::filesystem::path(m_path + "/port").u16string(); }
    void SetIni(const std::string& ini) { WriteWholeFile(m_path + "/device.ini", ini); }
    void SetClock(std::uint64_t time) { WriteWholeFile(m_path + "/clock", std::to_string(time)); }
    std::uint64_t Clock() const { return std::stoull(ReadWholeFile(m_path + "/clock")); }
    void Act(const std::string& act) const { WriteWholeFile(m_path + "/panel/" + act, ""); }
    CDeviceState State() const { return LoadState(m_path + "/state", {}); }
    std::string Calls() const { return ReadWholeFile(m_path + "/calls.log"); }

  private:
    std::string m_path;
};

// A picture of 24 bits in a bitmap file, `rgb` with the top line first.
inline void WritePicture(const std::string& path, int width, int height, int dpi,
                         const Bytes& rgb) {
    BITMAPINFOHEADER info = MakeInfoHeader(width, -height, 24);
    info.biXPelsPerMeter = info.biYPelsPerMeter = PelsPerMeter(dpi);
    const BITMAPFILEHEADER file = MakeFileHeader(info, BitmapImageBytes(info));
    std::string all(reinterpret_cast<const char*>(&file), sizeof(file));
    all.append(reinterpret_cast<const char*>(&info), sizeof(info));
    const auto padding = static_cast<std::size_t>(BitmapStride(info) - 3 * width);
    for (std::size_t i = 0; i < rgb.size(); ++i) {
        all += static_cast<char>(rgb[i / 3 * 3 + 2 - i % 3]);
        if ((i + 1) % (3 * static_cast<std::size_t>(width)) == 0)
            all.append(padding, '\0');
    }
    WriteWholeFile(path, all);
}
