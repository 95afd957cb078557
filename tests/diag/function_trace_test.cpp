#include "diag/function_trace.h"

#include <locale>

#include "diag/device_error_text.h"
#include "tests/diag/log_rig.h"

namespace {

class FunctionTrace : public CLogRig {};

TEST_F(FunctionTrace, FramesAndIndentsWhatHappensInside) {
    Settings(0x90000042, kLogToDebugger);
    const CConfigHold hold;
    {
        CFunctionTrace outer("Outer");
        CLog().Write("between");
        { const CFunctionTrace inner("CNVwiaMiniDrv::ValidateBPC", 0xABC); }
        EXPECT_EQ(&outer.SetResult(E_FAIL), &outer);
        EXPECT_EQ(outer.SetResult(S_OK).GetResult(), S_OK);
    }
    EXPECT_EQ(Take(),
              "+++Outer : TIME\n"
              "     between\n"
              "     +++CNVwiaMiniDrv::ValidateBPC : SessionID=0xabc : TIME\n"
              "     ---CNVwiaMiniDrv::ValidateBPC : SessionID=0xabc :  Returned 0x0: N MS\n\n"
              "---Outer :  Returned 0x0: N MS\n\n");
}

TEST_F(FunctionTrace, ReportsResultAndDeviceErrorAndShowsFailuresByDefault) {
    struct Row {
        HRESULT result;
        DWORD deviceError;
        bool byDefault;
        const char* text;
    };
    constexpr Row kRows[] = {
        {S_OK, 0, false, " Returned 0x0, OstrelError=No Error (0)"},
        {S_FALSE, 0, false, " ERROR: Returned 0x1, OstrelError=No Error (0)"},
        {E_FAIL, 0, true, " ERROR: Returned 0x80004005, OstrelError=No Error (0)"},
        {S_OK, 102, true, " Returned 0x0, OstrelError=ADF unexpected end of page (102)"},
        {E_FAIL, 0xFFFFFFFF, true,
         " ERROR: Returned 0x80004005, OstrelError=no definition (4294967295)"},
    };
    for (const Row& row : kRows) {
        DWORD deviceError = 1;
        const auto run = [&](DWORD level) {
            Settings(level, kLogToDebugger);
            const CConfigHold hold;
            {
                CFunctionTrace trace("f", 0, &deviceError);
                trace.SetResult(row.result);
                deviceError = row.deviceError;
            }
            return Take();
        };
        const std::string exit = std::string("---f : ") + row.text + ": N MS\n\n";
        EXPECT_EQ(run(0x90000002), "+++f : TIME\n" + exit);
        EXPECT_EQ(run(0x80000040), row.byDefault ? exit : "");
    }
}

TEST_F(FunctionTrace, CountsDepthThoughItsLinesAreNotWanted) {
    Settings(0x10000042, kLogToDebugger);
    const CConfigHold hold;
    {
        // An extra level has to be configured too.
        const CFunctionTrace outer("outer", 0, nullptr, 16);
        const CFunctionTrace inner("inner", 0, nullptr, 16);
        CLog().Write("deep");
    }
    CLog().Write("back");
    EXPECT_EQ(Take(), "          deep\nback\n");
}

// Digits in groups, as some locales have them.
struct CGrouping final : std::numpunct<char> {
    std::string do_grouping() const override { return "\1"; }
};

TEST_F(FunctionTrace, WritesItsNumbersTheSameInEveryLocale) {
    Settings(0x10000002, kLogToDebugger);
    const CConfigHold hold;
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new CGrouping));
    {
        const CFunctionTrace trace("f", 0x1234);
        Sleep(20);
    }
    std::locale::global(before);
    const std::string text = TakeRaw();
    EXPECT_NE(text.find("---f : SessionID=0x1234 :  Returned 0x0"), std::string::npos);
    const std::string label = "Elapsed Time = ";
    EXPECT_GE(std::stoi(text.substr(text.find(label) + label.size())), 20);
}

TEST(DeviceErrorText, KnowsItsNumbersAndNoOthers) {
    EXPECT_STREQ(DeviceErrorText(16), "Cancel button pressed");
    EXPECT_STREQ(DeviceErrorText(105), "APF communication error or checksum error");
    EXPECT_STREQ(DeviceErrorText(323), "TMA: Device busy");
    EXPECT_STREQ(DeviceErrorText(500), "Device does not support firmware spf files");
    for (const DWORD unknown : {17u, 99u, 106u, 319u, 324u, 499u, 501u})
        EXPECT_STREQ(DeviceErrorText(unknown), "no definition") << unknown;
}

}  // namespace
