// Where devices scan from and what samples they give: each way that back ends have for it.
#include <map>

#include "tests/sane-toolkit/sane_rig.h"

namespace {

constexpr char kPort[] = "sane:staged:one";
constexpr double kDpi = 150;
const Arguments kArea = {"--resolution", "150", "--area", "0,0,112,44mm"};
const Arguments kGray = {"--mode", "gray", "--set", "Scanner Channel=1"};

class Sources : public CStagedTest {
  protected:
    Sources() {
        Stage();
        Install(kPort);
    }
    // In the device's own gray.
    int ScanFrom(const std::string& source) {
        Arguments arguments = {"--source", source};
        arguments.insert(arguments.end(), kArea.begin(), kArea.end());
        arguments.insert(arguments.end(), kGray.begin(), kGray.end());
        return Scan(kPort, arguments, "page%d.ppm");
    }
    // Which sides the pages show, in their order; -1 for a page that is none of them.
    std::vector<int> Sides() const {
        std::vector<int> sides;
        for (int number = 1;; ++number) {
            const std::string name = "page" + std::to_string(number) + ".ppm";
            if (!std::filesystem::exists(m_home / name))
                return sides;
            const Picture page = Page(name);
            int side = kStagedFilm;
            while (side >= 0 && !Shows(page, side))
                --side;
            sides.push_back(side);
            std::filesystem::remove(m_home / name);
        }
    }

  private:
    // Whatever the engine makes of light: more of it is lighter, and the same is the same. All 16
    // lights are there, so no other side has them in this order.
    static bool Shows(const Picture& page, int side) {
        std::map<double, int> tones;
        for (double y = kStagedSquare / 2; y < 40; y += kStagedSquare) {
            for (double x = kStagedSquare / 2; x < 110; x += kStagedSquare) {
                const int tone =
                    page.At(static_cast<int>(x / 25.4 * kDpi), static_cast<int>(y / 25.4 * kDpi));
                const double light = StagedLight(x, y, 1, side);
                if (std::abs(tones.try_emplace(light, tone).first->second - tone) > 1)
                    return false;
            }
        }
        int least = -1;
        return std::ranges::all_of(tones, [&least](const auto& tone) {
            return tone.second >= std::exchange(least, tone.second);
        });
    }
};

using Pages = std::vector<int>;

constexpr char kFeeder[] = "when always source \"list=Flatbed,ADF Front,ADF Duplex\"\n";
constexpr char kByMode[] =
    "when always source list=Flatbed,Feeder\n"
    "option adf-mode string list=Simplex,Duplex value=Simplex caps=inactive\n"
    "when source=Feeder adf-mode caps=select,detect\n";
constexpr char kBySwitch[] = "when always source list=Flatbed,ADF\noption duplex bool\n";
constexpr char kSensor[] = "option page-loaded bool sensor=paper\n";

// The sheets end the job, whether the device can see them or tells only when it is to feed.
TEST_F(Sources, AFeederGivesItsSheetsInTheirOrder) {
    const struct {
        std::string script;
        const char* source;
        Pages sides;
    } kCases[] = {
        {std::string(kFeeder) + "sheets 3", "feeder", {1, 3, 5}},
        {std::string(kFeeder) + kSensor + "sheets 3", "feeder", {1, 3, 5}},
        {std::string(kFeeder) + "sheets 2", "duplex", {1, 2, 3, 4}},
        {std::string(kFeeder) + kSensor + "sheets 2", "duplex", {1, 2, 3, 4}},
        {std::string(kByMode) + "sheets 2", "duplex", {1, 2, 3, 4}},
        {std::string(kByMode) + "sheets 2", "feeder", {1, 3}},
        {std::string(kBySwitch) + "sheets 2", "duplex", {1, 2, 3, 4}},
        {std::string(kBySwitch) + "sheets 2", "feeder", {1, 3}},
    };
    for (const auto& [script, source, sides] : kCases) {
        SCOPED_TRACE(script + source);
        Stage(script);
        EXPECT_EQ(ScanFrom(source), 0) << m_error;
        EXPECT_EQ(Sides(), sides);
    }
}

TEST_F(Sources, AFeederThatFailsSaysSo) {
    const struct {
        std::string script;
        const char* words;
        Pages whole;
    } kCases[] = {
        {"sheets 0", "the document feeder is empty", {}},
        {std::string(kSensor) + "sheets 0", "the document feeder is empty", {}},
        {"sheets 3\nfail start 6 2", "paper is jammed", {1}},
        {"sheets 3\nfail start 8 2", "hatch of the document feeder is open", {1}},
    };
    for (const auto& [script, words, whole] : kCases) {
        SCOPED_TRACE(script);
        Stage(kFeeder + script);
        EXPECT_EQ(ScanFrom("feeder"), 1);
        EXPECT_NE(m_error.find(words), std::string::npos) << m_error;
        EXPECT_EQ(Sides(), whole);
    }
}

// Film is scanned as light goes through it; negatives are no other source than slides.
TEST_F(Sources, AnAdapterIsFoundByItsNames) {
    for (const char* script : {"when always source \"list=Flatbed,Transparency Unit\"",
                               "when always source list=Flatbed,Negative,Slide",
                               "when always source list=Flatbed,TPU8x10\noption film-type string "
                               "\"value=Negative Film\" \"list=Negative Film,Positive Film\"\nwhen "
                               "\"film-type=Negative Film\" gamma value=3\n"
                               "option gamma fixed value=1"}) {
        SCOPED_TRACE(script);
        Stage(script);
        for (const char* source : {"slide", "negative"}) {
            ASSERT_EQ(ScanFrom(source), 0) << m_error;
            EXPECT_EQ(CountWrong(Raw(), 0, 0, kDpi, kStagedFilm), 0) << source;
        }
    }
}

// What the driver gets is the light that the device saw, or where that can't be had what the device
// makes of it.
TEST_F(Sources, SamplesAreLightInAllForms) {
    constexpr char kNumber[] = "option gamma fixed range=0.5,3 value=2.2\n";
    constexpr char kTable[] =
        "gamma 2.2\noption custom-gamma bool\n"
        "option gamma-table int entries=4096 range=0,65535 caps=inactive\n"
        "when custom-gamma=1 gamma-table caps=select,detect\n";
    const struct {
        std::string script;
        const char* port;
        Arguments mode;
        double gamma;
    } kCases[] = {
        {"when always depth list=16", kPort, {}, 1},
        {"when always depth list=16\npad 3", kPort, kGray, 1},
        {"order RGB", kPort, {}, 1},
        {"order BRG\npad 5\nextra-lines 40", kPort, {}, 1},
        {"order GBR\nwhen always depth list=16\nafter-lines -1", kPort, {}, 1},
        {"when always mode list=Gray value=Gray\nafter-lines -1", kPort, kGray, 1},
        {kNumber, kPort, {}, 1},
        {kNumber, kPort, kGray, 1},
        {kTable, kPort, {}, 1},
        {kNumber, "sane-display:staged:one", {}, 2.2},
        {kNumber, "sane-light:staged:one", {}, 2.2},
        {"gamma 2.2", kPort, {}, 2.2},
        // Half of a straight line is none.
        {std::string(kNumber) + "when mode=Gray gamma caps=inactive", kPort, {}, 2.2},
    };
    for (const char* port : {"sane-display:staged:one", "sane-light:staged:one"})
        Install(port);
    for (const auto& [script, port, mode, gamma] : kCases) {
        SCOPED_TRACE(script + port);
        Stage(script);
        Arguments arguments = kArea;
        arguments.insert(arguments.end(), mode.begin(), mode.end());
        ASSERT_EQ(Scan(port, arguments), 0) << m_error;
        const Picture page = Raw();
        EXPECT_EQ(page.samples, mode.empty() ? 3 : 1);
        EXPECT_EQ(CountWrong(page, 0, 0, kDpi, kStagedGlass, gamma), 0);
    }
}

// What is straight by itself may lie over anything, and says nothing of samples.
TEST_F(Sources, ACurveThatIsStraightByItselfIsNoProofOfLight) {
    const std::pair<std::string, bool> kCases[] = {
        {"option analog-gamma fixed range=0.5,3 value=1", false},
        {"option gamma-table int entries=256 range=0,255", false},
        {"option custom-gamma bool\noption gamma-table int entries=256 range=0,255 caps=inactive\n"
         "when custom-gamma=1 gamma-table caps=select,detect",
         true},
    };
    const char* const kPorts[] = {kPort, "sane-display:staged:one", "sane-light:staged:one"};
    Install(kPorts[1]);
    Install(kPorts[2]);
    for (const auto& [script, isLight] : kCases) {
        SCOPED_TRACE(script);
        Stage(script);
        std::vector<Bytes> pages;
        for (const char* port : kPorts) {
            ASSERT_EQ(Scan(port, kArea), 0) << m_error;
            pages.push_back(Page().bytes);
        }
        EXPECT_TRUE(pages[0] == pages[isLight ? 2 : 1]);
        EXPECT_FALSE(pages[1] == pages[2]);
    }
}

// Words of back ends: the plain one is the right one, and what can't be set needn't be.
TEST_F(Sources, WordsOfBackEndsAreUnderstood) {
    const struct {
        std::string script;
        Arguments more;
    } kCases[] = {
        {"when always source list=Reflective,Positive,Negative", {}},
        {"when always source list=ADF,fb\nsheets 0", {"--source", "flatbed"}},
        {"when always source caps=detect", {}},
        {"when always mode \"list=Gray[Error Diffusion],True Gray,24bit Color\"\n"
         "when \"mode=Gray[Error Diffusion]\" depth list=1 value=1",
         kGray},
        {"when always mode caps=detect list=Gray value=Gray", kGray},
        {"option y-resolution int range=75,600 value=75", {}},
    };
    for (const auto& [script, more] : kCases) {
        SCOPED_TRACE(script);
        Stage(script);
        Arguments arguments = kArea;
        arguments.insert(arguments.end(), more.begin(), more.end());
        ASSERT_EQ(Scan(kPort, arguments), 0) << m_error;
        EXPECT_EQ(CountWrong(Raw(), 0, 0, kDpi, kStagedGlass), 0);
    }
}

// A scanner goes on by itself until it is told to stop, also when its program is gone.
TEST_F(Sources, AnEndFromOutsideStopsTheDevice) {
    for (const char* slow : {"slow 40", "slow 3000"}) {
        SCOPED_TRACE(slow);
        Stage(slow);
        const std::string trace = m_home / "script.trace";
        std::filesystem::remove(trace);
        Arguments arguments = {"scan", kPort, "-o", m_home / "page.pnm"};
        arguments.insert(arguments.end(), kArea.begin(), kArea.end());
        CProgram program(m_streams, arguments);
        while (program.IsRunning() && ReadText(trace).find("start") == std::string::npos)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        program.Send(SIGINT);
        EXPECT_EQ(program.Wait(), 130) << program.Error();
        EXPECT_NE(ReadText(trace).find("start\ncancel\n"), std::string::npos) << ReadText(trace);
    }
}

// A name that tells where a device is plugged in changes with that.
TEST_F(Sources, ADeviceThatIsPluggedInAnewIsFound) {
    Stage("device unit:libusb:001:004 Staged Plain \"flatbed scanner\"");
    Install("sane:staged:unit:libusb:001:004");
    const char kOther[] = "device unit:libusb:002:017 Staged Plain \"flatbed scanner\"\n";
    Stage(kOther);
    EXPECT_EQ(Scan("sane:staged:unit:libusb:001:004", kArea), 0) << m_error;
    Stage(kOther + std::string("device unit:libusb:002:018 Staged Plain \"flatbed scanner\""));
    EXPECT_EQ(Scan("sane:staged:unit:libusb:001:004", kArea), 1) << "which of them?";
    EXPECT_NE(m_error.find("there is no such device"), std::string::npos) << m_error;
}

// Polling a button keeps the device open, and yet another program scans with it; a device that two
// objects of one process use is open once.
TEST_F(Sources, WhoPollsButtonsGivesTheDeviceAway) {
    Stage("shared 0\noption scan bool sensor=latched");
    ASSERT_EQ(Run({"uninstall", kPort}), 0) << m_error;
    ASSERT_EQ(Run({"install", "--sane", "staged:one"}), 0) << m_error;
    const CTempFolder streams;
    CProgram buttons(streams, {"buttons", kPort, "--count", "1"});
    for (int scan = 0; scan < 2; ++scan)
        EXPECT_EQ(Scan(kPort, kArea), 0) << m_error;
    WriteBytes(m_home / "script.scan", {});
    EXPECT_EQ(buttons.Wait(), 0) << buttons.Error();
    EXPECT_NE(buttons.Out().find("scan"), std::string::npos) << buttons.Out();
}

}  // namespace
