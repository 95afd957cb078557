// The program scans with a device of SANE, through the toolkit module.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "tests/sane-toolkit/staged_picture.h"
#include "tests/tools/program.h"

struct Picture {
    int width = 0;
    int height = 0;
    int samples = 0;  // of a pixel
    Bytes bytes;

    int At(int x, int y, int sample = 0) const {
        return bytes.at(static_cast<std::size_t>((y * width + x) * samples + sample));
    }
};

class CSaneToolkitTest : public testing::Test {
  protected:
    // With one back end of SANE.
    explicit CSaneToolkitTest(const std::string& backend) {
        setenv("NVQ_REGISTRY", (m_home / "registry.reg").c_str(), 1);
        setenv("HOME", (m_home / "").c_str(), 1);
        setenv("SANE_CONFIG_DIR", (m_home / "").c_str(), 1);
        // Other tests have devices of the same names.
        setenv("XDG_RUNTIME_DIR", (m_home / "").c_str(), 1);
        setenv("LD_LIBRARY_PATH", STAGED_FOLDER, 1);
        std::ofstream(m_home / "dll.conf") << backend << '\n';
        // The device for tests forgets texts of its own, which count where leaks are failures, and
        // its library is gone by then. Nothing of ours takes memory by strdup.
        std::ofstream(m_home / "leaks") << "leak:strdup\n";
        setenv("LSAN_OPTIONS", ("suppressions=" + (m_home / "leaks")).c_str(), 1);
    }
    int Run(const Arguments& arguments) {
        CProgram program(m_streams, arguments);
        const int code = program.Wait();
        m_error = program.Error();
        return code;
    }
    void Install(const std::string& port) {
        ASSERT_EQ(Run({"install", "--toolkit", "nvqsane.so", "--port", port, "--events", "none"}),
                  0)
            << m_error;
    }
    int Scan(const std::string& port, const Arguments& more = {},
             const std::string& name = "page.ppm") {
        Arguments arguments = {"scan",      port, "-o",       m_home / name, "--format", "pnm",
                               "--sharpen", "5",  "--smooth", "off",         "--force"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Run(arguments);
    }
    Picture Page(const std::string& name = "page.ppm") const {
        Bytes bytes = ReadBytes(m_home / name);
        std::istringstream head(std::string(bytes.begin(), bytes.end()).substr(0, 100));
        std::string kind;
        Picture picture;
        int white = 0;
        head >> kind >> picture.width >> picture.height >> white;
        picture.samples = kind == "P6" ? 3 : 1;
        bytes.erase(bytes.begin(), bytes.begin() + head.tellg() + std::streamoff(1));
        picture.bytes = bytes;
        return picture;
    }

    CTempFolder m_home;
    CTempFolder m_streams;
    std::string m_error;
};

// With the scripted back end; its device is "sane:staged:one".
class CStagedTest : public CSaneToolkitTest {
  protected:
    CStagedTest() : CSaneToolkitTest("staged") {
        setenv("NVQ_STAGED_SCRIPT", (m_home / "script").c_str(), 1);
        std::ofstream(m_home / "registry.reg")
            << "Windows Registry Editor Version 5.00\n\n"
               "[HKEY_LOCAL_MACHINE\\Software\\Norvane\\Lumetra\\Quillet]\n"
               "\"Enabled\"=dword:00000001\n\"RawFile\"=\""
            << m_home / "raw.bmp"
            << "\"\n";
    }
    // A plain scanner, and more lines.
    void Stage(const std::string& more = {}) const {
        std::ofstream(m_home / "script") << R"(device one Staged Plain "flatbed scanner"
shared 1
option mode string list=Color,Gray value=Color
option depth int list=8 value=8
option resolution int unit=dpi range=75,600 value=75
option source string list=Flatbed value=Flatbed
option tl-x fixed unit=mm range=0,216 value=0
option tl-y fixed unit=mm range=0,297 value=0
option br-x fixed unit=mm range=0,216 value=216
option br-y fixed unit=mm range=0,297 value=297
)" << more << '\n';
    }
    // What the driver got of the last page, ahead of any change of tone.
    Picture Raw() const {
        const Bytes bytes = ReadBytes(m_home / "raw.bmp");
        BITMAPFILEHEADER file = {};
        BITMAPINFOHEADER info = {};
        std::memcpy(&file, bytes.data(), sizeof file);
        std::memcpy(&info, &bytes.at(sizeof file), sizeof info);
        // A page that ended early has less than its header says.
        const auto lines =
            (static_cast<std::int64_t>(bytes.size()) - file.bfOffBits) / BitmapStride(info);
        Picture picture = {info.biWidth, static_cast<int>(lines), info.biBitCount / 8, {}};
        for (int y = 0; y < picture.height; ++y) {
            const auto* line = &bytes.at(file.bfOffBits + y * BitmapStride(info));
            for (int i = 0; i < picture.width * picture.samples; ++i)
                picture.bytes.push_back(line[picture.samples == 3 ? i - i % 3 + 2 - i % 3 : i]);
        }
        return picture;
    }
};

// Samples of a picture from (left, top) in mm that aren't those of the staged picture, but for the
// squares' edges, which are left to rounding.
inline int CountWrong(const Picture& picture, double left, double top, double dpi, int side,
                      double gamma = 1) {
    constexpr double kEdge = 0.5;  // mm
    const auto is_edge = [](double place) {
        return std::abs(std::remainder(place, kStagedSquare)) < kEdge;
    };
    int wrong = 0;
    for (int i = 0; i < static_cast<int>(picture.bytes.size()); ++i) {
        const int pixel = i / picture.samples;
        const double x = left + (pixel % picture.width + 0.5) * 25.4 / dpi;
        const double y = top + (pixel / picture.width + 0.5) * 25.4 / dpi;
        const int color = picture.samples == 3 ? i % 3 : 1;
        const double expected = 255 * std::pow(StagedLight(x, y, color, side), 1 / gamma);
        wrong += !is_edge(x) && !is_edge(y) && std::abs(picture.bytes[i] - expected) > 1;
    }
    return wrong;
}
