// What programs see of a scanner's settings, and what becomes of what they write.
#include "tests/sane-backend/sane_rig.h"

namespace {

using SaneOptions = CSaneTest;

constexpr SANE_Int kInexact = SANE_INFO_INEXACT;
constexpr SANE_Int kReloadOptions = SANE_INFO_RELOAD_OPTIONS;
constexpr SANE_Int kReloadParams = SANE_INFO_RELOAD_PARAMS;

TEST_F(SaneOptions, AreWellFormed) {
    InstallAndOpenSane();
    SANE_Int count = 0;
    ASSERT_EQ(sane_control_option(m_scanner, 0, SANE_ACTION_GET_VALUE, &count, nullptr),
              SANE_STATUS_GOOD);
    EXPECT_EQ(sane_get_option_descriptor(m_scanner, count), nullptr);
    EXPECT_EQ(sane_get_option_descriptor(m_scanner, -1), nullptr);
    for (SANE_Int i = 0; i < count; ++i) {
        const SANE_Option_Descriptor* option = sane_get_option_descriptor(m_scanner, i);
        ASSERT_NE(option, nullptr);
        SCOPED_TRACE(option->name);
        std::string value(1000, '#');
        const bool has = option->type != SANE_TYPE_GROUP && SANE_OPTION_IS_ACTIVE(option->cap);
        EXPECT_EQ(sane_control_option(m_scanner, i, SANE_ACTION_GET_VALUE, value.data(), nullptr),
                  has ? SANE_STATUS_GOOD : SANE_STATUS_INVAL);
        EXPECT_EQ(value.find_first_not_of('#', static_cast<std::size_t>(option->size)),
                  std::string::npos);
        EXPECT_EQ(sane_control_option(m_scanner, i, SANE_ACTION_GET_VALUE, nullptr, nullptr),
                  SANE_STATUS_INVAL);
        EXPECT_EQ(sane_control_option(m_scanner, i, SANE_ACTION_SET_VALUE, nullptr, nullptr),
                  SANE_STATUS_INVAL);
        EXPECT_EQ(sane_control_option(m_scanner, i, SANE_ACTION_SET_AUTO, nullptr, nullptr),
                  SANE_STATUS_INVAL);
        // Its own value is taken as it is, and is no news.
        if (!has || !SANE_OPTION_IS_SETTABLE(option->cap))
            continue;
        SANE_Int info = -1;
        EXPECT_EQ(sane_control_option(m_scanner, i, SANE_ACTION_SET_VALUE, value.data(), &info),
                  SANE_STATUS_GOOD);
        EXPECT_EQ(info, 0);
    }
}

TEST_F(SaneOptions, FollowEachOtherAndSaySo) {
    InstallAndOpenSane();
    EXPECT_EQ(SetText(SANE_NAME_SCAN_MODE, "Lineart"), kReloadOptions | kReloadParams);
    EXPECT_EQ(Word(SANE_NAME_BIT_DEPTH), 1);
    EXPECT_TRUE(IsActive(SANE_NAME_THRESHOLD));
    EXPECT_FALSE(IsActive(SANE_NAME_SATURATION));
    SANE_Word word = SANE_FIX(10);
    EXPECT_EQ(TrySet(SANE_NAME_BRIGHTNESS, &word), SANE_STATUS_INVAL) << "inactive";
    EXPECT_EQ(SetText(SANE_NAME_SCAN_MODE, "color"), kInexact | kReloadOptions | kReloadParams);
    EXPECT_EQ(Text(SANE_NAME_SCAN_MODE), "Color");
    EXPECT_EQ(SetWord(SANE_NAME_BRIGHTNESS, SANE_FIX(12.5)), 0);
    EXPECT_EQ(SetText("tone", "Levels"), kReloadOptions);
    EXPECT_TRUE(IsActive(SANE_NAME_SHADOW) && !IsActive(SANE_NAME_BRIGHTNESS));
    EXPECT_EQ(SetText("tone", "Brightness"), kReloadOptions);
    EXPECT_EQ(Word(SANE_NAME_BRIGHTNESS), SANE_FIX(12.5)) << "kept meanwhile";
    EXPECT_EQ(TrySet(SANE_NAME_SCAN_MODE, "Gray\0\0\0\0\0\0"), SANE_STATUS_GOOD) << "a constant";
    SetText(SANE_NAME_SCAN_MODE, "Color");
    // Resolutions: the nearest, and one that both ways have.
    EXPECT_EQ(SetWord(SANE_NAME_SCAN_RESOLUTION, word = 290),
              kInexact | kReloadOptions | kReloadParams);
    EXPECT_EQ(word, 300);
    EXPECT_EQ(Word(SANE_NAME_SCAN_Y_RESOLUTION), 300);
    EXPECT_EQ(SetWord(SANE_NAME_SCAN_Y_RESOLUTION, 600), kReloadParams);
    EXPECT_EQ(Word(SANE_NAME_SCAN_RESOLUTION), 300);
    EXPECT_EQ(Parameters().lines, 2 * 3510);
    // A side lies on a pixel; the program's own length counts again at another resolution.
    SetWord(SANE_NAME_SCAN_RESOLUTION, 150);
    EXPECT_EQ(SetWord(SANE_NAME_SCAN_TL_X, word = SANE_FIX(10)), kInexact | kReloadParams);
    EXPECT_NEAR(SANE_UNFIX(word), 59 * 25.4 / 150, 0.001);
    SetWord(SANE_NAME_SCAN_RESOLUTION, 300);
    EXPECT_NEAR(SANE_UNFIX(Word(SANE_NAME_SCAN_TL_X)), 118 * 25.4 / 300, 0.001);
    EXPECT_EQ(SetMm(SANE_NAME_SCAN_BR_X, 5000) & kInexact, kInexact);
    EXPECT_NEAR(SANE_UNFIX(Word(SANE_NAME_SCAN_BR_X)), 215.9, 0.001);
    EXPECT_EQ(TrySet(SANE_NAME_SCAN_SOURCE, "Nothing of the kind"), SANE_STATUS_INVAL);
    EXPECT_EQ(TrySet("preview", &word), SANE_STATUS_INVAL) << "neither true nor false";
}

// The driver makes all properties anew with the source.
TEST_F(SaneOptions, OutliveAChangeOfTheSource) {
    InstallAndOpenSane();
    SetText(SANE_NAME_SCAN_MODE, "Gray");
    SetWord(SANE_NAME_CONTRAST, SANE_FIX(-20));
    SetWord(SANE_NAME_SCAN_RESOLUTION, 600);
    SetMm(SANE_NAME_SCAN_BR_Y, 250);
    SetMm(SANE_NAME_SCAN_TL_X, 20);
    for (const char* source : {"ADF", "Slide", "Negative", "ADF Duplex", "Flatbed"}) {
        SCOPED_TRACE(source);
        // The two films have the same limits.
        EXPECT_EQ(SetText(SANE_NAME_SCAN_SOURCE, source) & (kInexact | kReloadOptions),
                  std::string(source) == "Negative" ? 0 : kReloadOptions);
        EXPECT_EQ(Text(SANE_NAME_SCAN_SOURCE), source);
        EXPECT_EQ(IsActive("pages"), std::string(source).starts_with("ADF"));
        EXPECT_EQ(Text(SANE_NAME_SCAN_MODE), "Gray");
        EXPECT_EQ(Word(SANE_NAME_CONTRAST), SANE_FIX(-20));
        EXPECT_EQ(Word(SANE_NAME_SCAN_RESOLUTION), 600);
        const double reach = SANE_UNFIX(Descriptor(SANE_NAME_SCAN_BR_Y).constraint.range->max);
        EXPECT_NEAR(SANE_UNFIX(Word(SANE_NAME_SCAN_BR_Y)), std::min(reach, 250.0), 0.05);
        EXPECT_NEAR(SANE_UNFIX(Word(SANE_NAME_SCAN_TL_X)), 20, 0.05);
    }
}

TEST_F(SaneOptions, OfferTheSourcesThatAreConnected) {
    const std::pair<const char*, std::vector<std::string>> models[] = {
        {"", {"Flatbed", "ADF", "ADF Duplex", "Slide", "Negative"}},
        {"[xpa]\nhasXPA=0\n", {"Flatbed", "ADF", "ADF Duplex"}},
    };
    Install(Options());
    for (const auto& [ini, expected] : models) {
        SetIni(ini);
        m_scanner = OpenAnother();
        std::vector<std::string> sources;
        for (auto source = Descriptor(SANE_NAME_SCAN_SOURCE).constraint.string_list; *source;)
            sources.emplace_back(*source++);
        EXPECT_EQ(sources, expected) << ini;
        sane_close(m_scanner);
    }
}

TEST_F(SaneOptions, AWindowThatIsNoneIsNoFailureUntilTheScan) {
    InstallAndOpenSane();
    SetMm(SANE_NAME_SCAN_TL_X, 50);
    SetMm(SANE_NAME_SCAN_BR_X, 20);
    EXPECT_NEAR(SANE_UNFIX(Word(SANE_NAME_SCAN_TL_X)), 50, 0.001);
    EXPECT_NEAR(SANE_UNFIX(Word(SANE_NAME_SCAN_BR_X)), 20, 0.001);
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_INVAL);
    SetMm(SANE_NAME_SCAN_TL_X, 10);
    EXPECT_EQ(Parameters().pixels_per_line, 59);
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
}

// While another handle scans. All is as it was then, and goes on when the scanner is free.
TEST_F(SaneOptions, AWriteThatTheScannerIsTooBusyForChangesNothing) {
    LayAndOpenSane();
    const SANE_Handle other = OpenAnother();
    SANE_Word right = SANE_FIX(50);
    SANE_Word dpi = 600;
    const std::pair<const char*, const void*> writes[] = {
        {SANE_NAME_SCAN_MODE, "Gray\0\0\0\0"},
        {SANE_NAME_SCAN_SOURCE, "ADF\0\0\0\0\0\0\0"},
        {SANE_NAME_SCAN_RESOLUTION, &dpi},
        {SANE_NAME_SCAN_BR_X, &right}};
    for (const auto& [name, value] : writes) {
        SCOPED_TRACE(name);
        ASSERT_EQ(sane_start(other), SANE_STATUS_GOOD);
        SANE_Int info = -1;
        EXPECT_EQ(Control(name, SANE_ACTION_SET_VALUE, const_cast<void*>(value), &info),
                  SANE_STATUS_DEVICE_BUSY);
        EXPECT_EQ(info, 0);
        EXPECT_EQ(Text(SANE_NAME_SCAN_MODE), "Color");
        EXPECT_EQ(Parameters().pixels_per_line, 67);
        sane_cancel(other);
        for (int i = 0; i < 5000 && !IsFree(); ++i)
            usleep(1000);
        ExpectScan(m_picture);
    }
}

TEST_F(SaneOptions, AButtonIsPressedOnceForEachPress) {
    InstallAndOpenSane();
    EXPECT_EQ(Word("copy"), SANE_FALSE);
    std::string error;
    for (int i = 0; i < 2000 && !PressButton(m_folder, 2, &error); ++i)
        usleep(1000);
    SANE_Word pressed = SANE_FALSE;
    for (int i = 0; i < 5000 && !(pressed = Word("copy")); ++i)
        usleep(1000);
    EXPECT_EQ(pressed, SANE_TRUE) << error;
    EXPECT_EQ(Word("copy"), SANE_FALSE);
    EXPECT_EQ(Word("scan"), SANE_FALSE);
    SANE_Word on = SANE_TRUE;
    EXPECT_EQ(TrySet("copy", &on), SANE_STATUS_INVAL);
}

TEST_F(SaneOptions, AScannerThatTellsOfNoButtonsHasNone) {
    InstallOptions options = Options();
    options.capabilities = 0;
    Install(options);
    m_scanner = OpenAnother();
    EXPECT_EQ(Option("copy"), -1);
}

}  // namespace
