#include "diag/function_trace.h"

#include <locale>

#include "tests/diag/log_rig.h"

namespace {

class FunctionTrace : public CLogRig {};

// Digits one by one, as "1,2,3": numbers of the log don't follow a program's locale.
struct CGrouping final : std::numpunct<char> {
    std::string do_grouping() const override { return "\1"; }
};

TEST_F(FunctionTrace, FramesAndIndentsWhatHappensInside) {
    Settings(0x90000042, kLogToDebugger);
    const CConfigHold hold;
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new CGrouping));
    {
        CFunctionTrace outer("Outer");
        CLog().Write("between");
        { const CFunctionTrace inner("CNVwiaMiniDrv::ValidateBPC", 0xABC); }
        EXPECT_EQ(outer.SetResult(E_FAIL).SetResult(S_OK).GetResult(), S_OK);
        // Lines that aren't wanted count for the depth all the same: 16 isn't configured.
        const CFunctionTrace unseen("unseen", 0, nullptr, 16);
        CLog().Write("deep");
    }
    std::locale::global(before);
    EXPECT_EQ(Take(),
              "+++Outer : \n"
              "     between\n"
              "     +++CNVwiaMiniDrv::ValidateBPC : SessionID=0xabc : \n"
              "     ---CNVwiaMiniDrv::ValidateBPC : SessionID=0xabc :  Returned 0x0: "
              "Elapsed Time = \n\n"
              "          deep\n"
              "---Outer :  Returned 0x0: Elapsed Time = \n\n");
}

TEST_F(FunctionTrace, ReportsResultAndDeviceErrorAndShowsFailuresByDefault) {
    constexpr struct {
        HRESULT result;
        DWORD deviceError;
        bool byDefault;
        const char* text;
    } kRows[] = {
        {S_OK, 0, false, " Returned 0x0, OstrelError=No Error (0)"},
        {S_FALSE, 0, false, " ERROR: Returned 0x1, OstrelError=No Error (0)"},
        {E_FAIL, 0, true, " ERROR: Returned 0x80004005, OstrelError=No Error (0)"},
        {S_OK, 102, true, " Returned 0x0, OstrelError=ADF unexpected end of page (102)"},
        {S_OK, 17, true, " Returned 0x0, OstrelError=no definition (17)"},
    };
    for (const auto& row : kRows) {
        DWORD deviceError = 1;
        const auto run = [&](DWORD level) {
            Settings(level, kLogToDebugger);
            const CConfigHold hold;
            CFunctionTrace("f", 0, &deviceError).SetResult(row.result);
            return Take();
        };
        deviceError = row.deviceError;
        const std::string exit = std::string("---f : ") + row.text + ": Elapsed Time = \n\n";
        EXPECT_EQ(run(0x90000002), "+++f : \n" + exit);
        EXPECT_EQ(run(0x80000040), row.byDefault ? exit : "");
    }
}

}  // namespace
