// The program scans with SANE's own device for tests, through the toolkit module.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <sstream>

#include "tests/tools/program.h"

namespace {

// What test.conf of the device says; a 200 mm bed that rounds to 7 mm.
using Settings = std::map<std::string, std::string>;
const Settings kPlain = {{"number_of_devices", "2"},   {"mode", "Color"},
                         {"test-picture", "\"Grid\""}, {"resolution_max", "1200.0"},
                         {"geometry_max", "200.0"},    {"geometry_quant", "7.0"}};

struct Picture {
    int width = 0;
    int height = 0;
    std::size_t samples = 0;  // of a pixel
    Bytes bytes;

    int At(int x, int y, std::size_t sample = 0) const {
        return bytes.at(static_cast<std::size_t>(y * width + x) * samples + sample);
    }
};

class SaneToolkit : public testing::Test {
  protected:
    SaneToolkit() {
        setenv("NVQ_REGISTRY", (m_home / "registry.reg").c_str(), 1);
        setenv("HOME", (m_home / "").c_str(), 1);
        setenv("SANE_CONFIG_DIR", (m_home / "").c_str(), 1);
        std::ofstream(m_home / "dll.conf") << "test\n";
        // The device for tests forgets texts of its own, which count where leaks are failures, and
        // its library is gone by then. Nothing of ours takes memory by strdup.
        std::ofstream(m_home / "leaks") << "leak:strdup\n";
        setenv("LSAN_OPTIONS", ("suppressions=" + (m_home / "leaks")).c_str(), 1);
        Set({});
    }
    void Set(Settings settings) {
        settings.insert(kPlain.begin(), kPlain.end());
        std::ofstream file(m_home / "test.conf");
        for (const auto& [name, value] : settings)
            file << name << ' ' << value << '\n';
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
    int Scan(const std::string& port, Arguments more = {}) {
        Arguments arguments = {"scan",     port,  "-o",        m_home / "page.ppm",
                               "--format", "pnm", "--sharpen", "5",
                               "--smooth", "off", "--force"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Run(arguments);
    }
    Picture Page() const {
        Bytes bytes = ReadBytes(m_home / "page.ppm");
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

// The grid is white and black squares of 10 mm, white in the corner of the window that the device
// made of ours: that begins on its last step of 7 mm ahead of it. However its lines come, each
// square is in its place.
TEST_F(SaneToolkit, WindowsAreWhereTheyWereAsked) {
    const std::pair<Settings, Arguments> kCases[] = {
        {{}, {}},
        {{}, {"--mode", "gray", "--set", "Scanner Channel=1"}},
        {{{"read-limit", "true"}, {"read-limit-size", "7"}}, {}},
        {{{"ppl-loss", "3"}}, {}},
        {{{"fuzzy-parameters", "true"}}, {}},
    };
    Install("sane:test:0");
    for (const auto& [settings, more] : kCases) {
        SCOPED_TRACE(settings.empty() ? "" : settings.begin()->first);
        Set(settings);
        Arguments arguments = {"--resolution", "300", "--area", "13.2,26.7,52,44mm"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ASSERT_EQ(Scan("sane:test:0", arguments), 0) << m_error;
        const Picture page = Page();
        EXPECT_EQ(page.samples, more.empty() ? 3u : 1u);
        EXPECT_NEAR(page.width, 52 / 25.4 * 300, 2);
        EXPECT_NEAR(page.height, 44 / 25.4 * 300, 2);
        int wrong = 0;
        for (int y = 0; y < page.height; ++y) {
            for (int x = 0; x < page.width; ++x) {
                const double column = (13.2 - 7 + (x + 0.5) * 25.4 / 300) / 10;
                const double row = (26.7 - 21 + (y + 0.5) * 25.4 / 300) / 10;
                // 0.2 mm on either side of an edge are left to rounding.
                if (std::abs(column - std::round(column)) < 0.02 ||
                    std::abs(row - std::round(row)) < 0.02)
                    continue;
                const bool isWhite = (static_cast<int>(column) + static_cast<int>(row)) % 2 == 0;
                wrong += page.At(x, y) != (isWhite ? 255 : 0);
            }
        }
        EXPECT_EQ(wrong, 0);
    }
}

// Samples stay as they are for a screen, but for the engine's white, which lies some 10 % below
// theirs; taken for light they come out lighter by the screen's gamma. The pattern's lines are a
// third of white.
TEST_F(SaneToolkit, ThePortTellsWhatSamplesAre) {
    Set({{"test-picture", "\"Color pattern\""}});
    for (const auto& [port, least, most] :
         {std::tuple("sane:test:0", 80, 100), {"sane-light:test:1", 150, 185}}) {
        Install(port);
        ASSERT_EQ(Scan(port, {"--resolution", "150", "--area", "0,0,20,20mm"}), 0) << m_error;
        const Picture page = Page();
        for (std::size_t sample = 0; sample < 3; ++sample) {
            EXPECT_GE(page.At(0, 7, sample), least) << port;
            EXPECT_LE(page.At(0, 7, sample), most) << port;
        }
    }
}

TEST_F(SaneToolkit, WhatCantBeScannedIsToldInWords) {
    const std::pair<Settings, const char*> kCases[] = {
        {{{"three-pass", "true"}}, "lacks this function"},
        {{{"resolution_max", "100.0"}}, "can't be opened"},
    };
    Install("sane:test:0");
    for (const auto& [settings, words] : kCases) {
        Set(settings);
        EXPECT_EQ(Scan("sane:test:0"), 1) << words;
        EXPECT_NE(m_error.find(words), std::string::npos) << m_error;
    }
}

// Through it this program would call itself.
TEST_F(SaneToolkit, TheOwnBackEndIsNoDevice) {
    std::ofstream(m_home / "dll.conf") << "nvq\n";
    for (const char* port : {"sane:nvq", "sane:nvq:0000", "sane:net:localhost:nvq:0000"}) {
        Install(port);
        EXPECT_EQ(Scan(port), 1);
        EXPECT_NE(m_error.find("does not start"), std::string::npos) << m_error;
    }
}

}  // namespace
