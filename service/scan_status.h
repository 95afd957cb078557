// What an operation of the service came to.
#pragma once

#include <functional>
#include <string>

#include "platform/types.h"

// A result code with a sentence for people. Success has no text, with one exception: a scan that
// was cancelled is S_FALSE and says so.
struct [[nodiscard]] ScanStatus {
    HRESULT code = S_OK;
    std::string text;

    bool Ok() const { return SUCCEEDED(code); }
};

// The words for a result code; for one that isn't known, what kind of failure it is and its number.
std::string ResultText(HRESULT code);

// "what: words of the code"; success for success.
ScanStatus StatusOf(HRESULT code, const std::string& what);

// An operation other than a scan that its client cancelled while it waited for the scanner.
inline constexpr HRESULT kCancelledWait = MakeResult(0x800704C7u);

// Somebody pressed the scanner's own cancel button.
inline constexpr HRESULT kCancelledAtScanner = MakeResult(0x80040009u);

// The feeder has no sheet: as the driver looked for one, or as the scanner told when it was to
// feed.
bool IsEmptyFeeder(HRESULT code);

// What a scan came to that was cancelled by its program or the driver.
ScanStatus CancelledScan();

// What the service has to say to the user beside the results of operations: one line, from any
// thread. It must not throw.
using Notice = std::function<void(const std::string& line)>;

// Runs an operation. What was told meanwhile in words for people (platform/told_lines.h) stands in
// the text of its failure; what it could do without, and warnings, go to `notice`, each once a
// program run.
ScanStatus Explained(const std::function<ScanStatus()>& operation, const Notice& notice = {});
