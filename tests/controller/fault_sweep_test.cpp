// The n-th call fails: each operation of the toolkit in turn, at its first, its second and every
// call, in an opening, a flatbed scan and a feeder job of two pages.
#include <map>

#include "tests/controller/controller_rig.h"

namespace {

class FaultSweep : public CControllerTest {
  protected:
    HRESULT told = S_OK;   // the first failure that reached the caller
    bool isShort = false;  // a page came with fewer bytes than promised

    FaultSweep() {
        // Without the date, which would be written to a file; with all that compression can ask.
        toolkit.Lie<OstrelNvramInfo>(GetNvramInfo, [](auto& info) { info.items = 1; });
        toolkit.Lie<OstrelCompressionCaps>(GetCompressionCapabilities, [](auto& caps) {
            caps.supportedTypes = 7;
            caps.defaultType = 2;
        });
        toolkit.Answer(SetCompressionType);
        toolkit.Answer(EnableCompression);
    }
    bool Ok(HRESULT hr) {
        if (FAILED(hr) && SUCCEEDED(told))
            told = hr;
        return SUCCEEDED(hr);
    }
    // As the front end goes about it; true for a page without a failure.
    bool TryPage(const ScanSource& source) {
        if (!Ok(Prepare(source)))
            return false;
        Bytes bytes;
        const bool isRead = Ok(scan->finalScanInit()) && Ok(Read(bytes));
        isShort = isShort || (isRead && bytes.size() != page.size());
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
        TryPage(kFromFlatbed);
        if (TryPage(kFromFeeder))
            TryPage(kFromFeeder);
        Ok(scan->releaseScanner());
    }
    // A cold scanner with two sheets, which fails so.
    void Run(EOperation operation, DWORD code, int nth, int times) {
        Renew();
        Place(0, 2);
        told = S_OK;
        isShort = false;
        toolkit.ForgetCalls();
        toolkit.Fail(operation, code, nth, times);
        TryAll();
    }
    // The scanner works without these.
    static bool IsForgiven(EOperation op) {
        return op == GetProfileSize || op == ReadProfile || op == UnlockScanner;
    }
    // A read may end the page, and one that fails without a reason does no more than that.
    static bool MayEndPage(EOperation op, DWORD code) {
        return (op == ReadScan || op == BeginRead) &&
               (code == 0 || code == OSTREL_END_OF_MEDIA || code == OSTREL_ADF_END_OF_PAGE);
    }
    void Sweep(EOperation operation, DWORD code, int nth, int times) {
        SCOPED_TRACE(testing::Message() << OperationOf(operation).name << " fails at call " << nth
                                        << ", " << times << " times, with " << code);
        Run(operation, code, nth, times);
        if (told == S_OK && MayEndPage(operation, code)) {
            EXPECT_TRUE(isShort);
        } else if (told != S_OK || !IsForgiven(operation)) {
            EXPECT_EQ(told, code == 0 ? CLyingToolkit::kFailure : scan->mapToolkitError(code));
        }
        EXPECT_EQ(toolkit.Levels(), 0);
        toolkit.Heal();
        Place(0, 2);
        if (!scan->isInitialized()) {
            ASSERT_EQ(Open(), S_OK);
        }
        EXPECT_EQ(ScanPage(kFromFlatbed), S_OK);
        EXPECT_EQ(ScanPage(kFromFeeder), S_OK);
        EXPECT_EQ(ScanPage(kFromFeeder), S_FALSE);
        EXPECT_EQ(toolkit.Levels(), 0);
        EXPECT_EQ(scan->closeScanner(), S_OK);
        EXPECT_EQ(toolkit.OpenSessions(), 0);
        EXPECT_EQ(toolkit.Violations(), "");
    }
};

TEST_F(FaultSweep, EveryFailureReachesTheCallerAndLeavesAScannerThatWorks) {
    Run(OpenDevice, 0, 1000, 1);
    ASSERT_EQ(told, S_OK);
    std::map<EOperation, int> counts;
    for (const auto& call : toolkit.Calls())
        ++counts[call.operation];
    ASSERT_GE(counts.size(), 40u);
    for (const auto& [operation, count] : counts) {
        // A lock that isn't had leaves something else undone at each of its calls.
        for (int nth = 1; nth <= (operation == LockScanner ? count : std::min(count, 2)); ++nth)
            Sweep(operation, OSTREL_COMMUNICATION, nth, 1);
        Sweep(operation, OSTREL_COMMUNICATION, 1, 1000000);
        Sweep(operation, OSTREL_NO_ERROR, 1, 1);
        if (HasFailure())
            return;
    }
    // What a code does is told by one table, but these look at it.
    for (const EOperation operation : {StartScan, ReadScan, BeginRead, ADF2PaperFeed}) {
        for (const OstrelError& error : OstrelErrorTable())
            Sweep(operation, error.code, 1, 1);
    }
}

}  // namespace
