// The program scans with SANE's own device for tests, through the toolkit module.
#include <map>

#include "tests/sane-toolkit/sane_rig.h"

namespace {

// What test.conf of the device says; a 200 mm bed that rounds to 7 mm.
using Settings = std::map<std::string, std::string>;
const Settings kPlain = {{"number_of_devices", "2"},   {"mode", "Color"},
                         {"test-picture", "\"Grid\""}, {"resolution_max", "1200.0"},
                         {"geometry_max", "200.0"},    {"geometry_quant", "7.0"}};

class SaneToolkit : public CSaneToolkitTest {
  protected:
    SaneToolkit() : CSaneToolkitTest("test") { Set({}); }
    void Set(Settings settings) {
        settings.insert(kPlain.begin(), kPlain.end());
        std::ofstream file(m_home / "test.conf");
        for (const auto& [name, value] : settings)
            file << name << ' ' << value << '\n';
    }
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
        {{{"read-delay", "true"}, {"read-delay-duration", "1000"}}, {}},
        {{{"hand-scanner", "true"}}, {}},
        {{{"three-pass", "true"}, {"three-pass-order", "BRG"}}, {}},
        {{}, {"--source", "feeder", "--pages", "1"}},
    };
    Install("sane:test:0");
    for (const auto& [settings, more] : kCases) {
        SCOPED_TRACE(settings.empty() ? "" : settings.begin()->first);
        Set(settings);
        Arguments arguments = {"--resolution", "300", "--area", "13.2,26.7,52,44mm"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ASSERT_EQ(Scan("sane:test:0", arguments), 0) << m_error;
        const Picture page = Page();
        EXPECT_EQ(page.samples, std::ranges::count(more, "gray") ? 1 : 3);
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
         {std::tuple("sane-display:test:0", 80, 100), {"sane-light:test:1", 150, 185}}) {
        Install(port);
        ASSERT_EQ(Scan(port, {"--resolution", "150", "--area", "0,0,20,20mm"}), 0) << m_error;
        const Picture page = Page();
        for (int sample = 0; sample < 3; ++sample) {
            EXPECT_GE(page.At(0, 7, sample), least) << port;
            EXPECT_LE(page.At(0, 7, sample), most) << port;
        }
    }
}

// What the device answers to reads comes out as the driver's own words.
TEST_F(SaneToolkit, FailuresAreToldInWords) {
    const std::pair<Settings, const char*> kCases[] = {
        {{{"resolution_max", "100.0"}}, "a resolution of 150"},
        {{{"read-status-code", "\"SANE_STATUS_JAMMED\""}}, "paper is jammed"},
        {{{"read-status-code", "\"SANE_STATUS_COVER_OPEN\""}}, "hatch of the document feeder"},
        {{{"read-status-code", "\"SANE_STATUS_IO_ERROR\""}}, "connection to the scanner failed"},
        {{{"read-status-code", "\"SANE_STATUS_EOF\""}}, "connection to the scanner failed"},
        {{{"read-status-code", "\"SANE_STATUS_NO_MEM\""}}, "not enough memory"},
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
