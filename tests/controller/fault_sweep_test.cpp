// The n-th call fails: each operation of the toolkit in turn, at its first and its second call, in
// an opening, a flatbed scan and a feeder job of two pages. An operation that always fails is seen
// through the whole driver.
#include <map>

#include "tests/controller/controller_rig.h"

namespace {

class FaultSweep : public CControllerTest {
  protected:
    std::size_t left = 0;  // bytes of three pages that didn't come

    // Without the date, which would be written to a file.
    FaultSweep() {
        toolkit.Lie(GetNvramInfo, [](OstrelNvramInfo& info) { info.items = 1; });
    }
    // All that a front end does. The failure that it met first.
    HRESULT UseEverything() {
        HRESULT told = S_OK;
        const auto note = [&](HRESULT hr) {
            told = FAILED(told) || SUCCEEDED(hr) ? told : hr;
            return SUCCEEDED(hr);
        };
        left = 3 * page.size();
        bool on = false;
        LPOLESTR version = nullptr;
        if (!note(Open()))
            return told;
        note(scan->getLampOn(&on, false));
        note(scan->setLampTimeoutLevel(1));
        note(scan->setPanelText(u"text"));
        note(scan->getFirmwareVersion(&version));
        EXPECT_TRUE(version);
        CoTaskMemFree(version);
        for (const ScanSource& source : {kFromFlatbed, kFromFeeder, kFromFeeder}) {
            Bytes bytes;
            if (!note(Prepare(source)))
                continue;
            if (note(scan->finalScanInit()))
                note(Read(bytes));
            note(scan->endScan());
            left -= bytes.size();
        }
        note(scan->releaseScanner());
        return told;
    }
    // A cold scanner with two sheets, of which the n-th such call fails with the code, or without.
    void Sweep(EOperation op, DWORD code, int nth) {
        SCOPED_TRACE(testing::Message() << OperationOf(op).name << ' ' << nth << ": " << code);
        Renew();
        Place(0, 2);
        toolkit.Fail(op, code, nth);
        const HRESULT told = UseEverything();
        // A read may end the page; one that fails without a reason doesn't pass for that, nor does
        // one that never began.
        const bool isRead = op == ReadScan || op == BeginRead;
        const bool isEnd = code == OSTREL_END_OF_MEDIA || code == OSTREL_ADF_END_OF_PAGE;
        // The scanner works without these.
        const bool isForgiven = op == GetProfileSize || op == ReadProfile || op == UnlockScanner;
        if (told == S_OK && isEnd && op == ReadScan) {
            EXPECT_GT(left, 0u);
        } else if (isRead && code == 0) {
            EXPECT_EQ(told, Result(0x0D));
        } else if (told != S_OK || !isForgiven) {
            EXPECT_EQ(told, code == 0 ? CLyingToolkit::kFailure : scan->mapToolkitError(code));
        }
        EXPECT_EQ(toolkit.Levels(), 0);
        Place(0, 2);
        EXPECT_EQ(UseEverything(), S_OK);
        EXPECT_EQ(left, 0u);
        EXPECT_EQ(scan->closeScanner(), S_OK);
        EXPECT_EQ(toolkit.Levels() + toolkit.OpenSessions(), 0);
        EXPECT_EQ(toolkit.Violations(), "");
    }
};

TEST_F(FaultSweep, EveryFailureReachesTheCallerAndLeavesAScannerThatWorks) {
    Place(0, 2);
    ASSERT_EQ(UseEverything(), S_OK);
    std::map<EOperation, int> counts;
    for (const EOperation operation : toolkit.Calls())
        ++counts[operation];
    ASSERT_GE(counts.size(), 39u);
    for (const auto& [operation, count] : counts) {
        // A lock that isn't had leaves something else undone at each of its calls.
        for (int nth = 1; nth <= (operation == LockScanner ? count : std::min(count, 2)); ++nth)
            Sweep(operation, nth == 1 ? OSTREL_NO_ERROR : OSTREL_COMMUNICATION, nth);
    }
    // What a code does is told by one table, but these look at it.
    for (const EOperation operation : {StartScan, BeginRead, ReadScan, ADF2PaperFeed}) {
        for (const DWORD code : {OSTREL_END_OF_MEDIA, OSTREL_CANCEL_BUTTON, OSTREL_ADF_JAMMED,
                                 OSTREL_ADF_EMPTY, OSTREL_ADF_END_OF_PAGE})
            Sweep(operation, code, 1);
    }
}

}  // namespace
