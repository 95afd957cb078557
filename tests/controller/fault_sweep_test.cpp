// The n-th call fails: each operation of the toolkit in turn, at each of its calls, with every
// code, in an opening, a flatbed scan and a feeder job of two pages.
#include <algorithm>
#include <map>
#include <set>

#include "tests/controller/controller_rig.h"

namespace {

class FaultSweep : public CControllerTest {
  protected:
    // The first failure that reached the caller.
    HRESULT told = S_OK;
    bool isShort = false;  // a page came with fewer bytes than promised

    bool Ok(HRESULT hr) {
        if (FAILED(hr) && SUCCEEDED(told))
            told = hr;
        return SUCCEEDED(hr);
    }
    // As the front end goes about it; true for a page without a failure.
    bool TryPage(const ScanSource& source) {
        if (!Ok(Prepare(source)))
            return false;
        const bool isStarted = Ok(scan->finalScanInit());
        Page page;
        if (isStarted)
            page = Read();
        const bool isRead = isStarted && Ok(page.result);
        isShort = isShort || (isRead && page.bytes.size() != lines * toolkit.BytesPerLine());
        return Ok(scan->endScan()) && isRead;
    }
    void TryAll() {
        bool on = false;
        if (!Ok(Open()))
            return;
        Ok(scan->getLampOn(&on, false));
        Ok(scan->setLampTimeoutLevel(1));
        Ok(scan->setPanelText(u"text"));
        LPOLESTR version = nullptr;
        Ok(scan->getFirmwareVersion(&version));
        EXPECT_TRUE(version);
        CoTaskMemFree(version);
        TryPage(kFlatbed);
        if (TryPage(kFeeder))
            TryPage(kFeeder);
        Ok(scan->releaseScanner());
    }
    void Load() {
        toolkit.sheets = 2;
        toolkit.lampOn = 0;
        toolkit.nvramInfo.items = OSTREL_NVRAM_HAS_SCAN_COUNT;  // dates are written to a file
        toolkit.profile = "DEFAULTS\n200 200 1 0 1 1200 980 0 1 77 180\n";
        toolkit.media.resize(1);
        toolkit.adf3Caps.hasDuplexSwitch = 1;
        toolkit.adf3Caps.switchFlags = OSTREL_SWITCH_READABLE;
        toolkit.adf2Caps.adfFlags = OSTREL_ADF_SHEET_THROUGH;
        toolkit.compressionCaps.defaultType = 2;
        toolkit.compressionCaps.supportedTypes = 7;
    }

    // Operations whose failure is no failure of the driver: the scanner works without them.
    static bool IsForgiven(const std::string& operation) {
        static const std::set<std::string> kForgiven = {"GetProfileSize", "ReadProfile",
                                                        "UnlockScanner"};
        return kForgiven.count(operation) != 0;
    }
    // A read may end the page, and one that fails without a reason does no more than that.
    static bool MayEndPage(const std::string& operation, DWORD code) {
        return (operation == "ReadScan" || operation == "BeginRead") &&
               (code == OSTREL_NO_ERROR || code == OSTREL_END_OF_MEDIA ||
                code == OSTREL_ADF_END_OF_PAGE);
    }
};

TEST_F(FaultSweep, EveryFailureReachesTheCallerAndLeavesAScannerThatWorks) {
    Load();
    TryAll();
    ASSERT_EQ(told, S_OK);
    std::map<std::string, int> counts;
    for (const std::string& name : toolkit.Operations())
        ++counts[name];
    ASSERT_GE(counts.size(), 40u);

    int runs = 0;
    const auto sweep = [&](const std::string& operation, int nth, DWORD code) {
        SCOPED_TRACE(operation + " fails at call " + std::to_string(nth) + " with " +
                     std::to_string(code));
        ++runs;
        Renew();
        Load();
        told = S_OK;
        isShort = false;
        toolkit.ForgetCalls();
        toolkit.Fail(operation, code, nth);
        TryAll();
        const HRESULT expected = code == 0 ? CFakeToolkit::kFailure : scan->mapToolkitError(code);
        if (told == S_OK && MayEndPage(operation, code)) {
            EXPECT_TRUE(isShort);
        } else if (told != S_OK || !IsForgiven(operation)) {
            EXPECT_EQ(told, expected);
        }
        EXPECT_EQ(toolkit.Levels(), 0);
        toolkit.Heal();
        Load();
        DefaultsRecord defaults = {};
        if (FAILED(scan->getDefaults(&defaults))) {
            ASSERT_EQ(Open(), S_OK);
        }
        EXPECT_EQ(ScanPage(kFlatbed), S_OK);
        EXPECT_EQ(ScanPage(kFeeder), S_OK);
        EXPECT_EQ(ScanPage(kFeeder), S_FALSE);
        EXPECT_EQ(scan->closeScanner(), S_OK);
        EXPECT_EQ(toolkit.OpenSessions(), 0);
        EXPECT_EQ(toolkit.Violations(), std::vector<std::string>());
    };
    // What a code does is told by one table, but these look at it.
    const std::set<std::string> sorts = {"StartScan", "ReadScan", "BeginRead", "ADF2PaperFeed"};
    for (const auto& [operation, count] : counts) {
        if (sorts.count(operation) != 0) {
            for (const OstrelError& error : OstrelErrorTable())
                sweep(operation, 1, error.code);
        }
        for (int nth = 1; nth <= count; ++nth) {
            for (const DWORD code : {OSTREL_COMMUNICATION, OSTREL_ADF_EMPTY, OSTREL_NO_ERROR})
                sweep(operation, nth, code);
        }
        if (HasFailure())
            return;
    }
    EXPECT_GT(runs, 500);
}

// Once gone, always gone: a device that answers nothing more from some call on.
TEST_F(FaultSweep, DeviceThatDiesIsLeftInPeace) {
    for (const char* operation : {"LockScanner", "IsPaperInADF", "StartScan", "ReadScan", "EndScan",
                                  "EndADF2Job", "UnlockScanner", "GetScanSetup", "IsLampOn"}) {
        for (int nth = 1; nth < 12; ++nth) {
            SCOPED_TRACE(operation);
            Renew();
            Load();
            toolkit.Fail(operation, OSTREL_COMMUNICATION, nth, 1000000);
            TryAll();
            scan->closeScanner();
            EXPECT_EQ(toolkit.OpenSessions(), 0);
            toolkit.Heal();
        }
    }
    EXPECT_EQ(toolkit.Violations(), std::vector<std::string>());
}

}  // namespace
