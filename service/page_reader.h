// Pages pulled by who wants them, in place of a sink into which they are pushed.
//
//     CPageReader reader;
//     std::optional<ScanPage> page;
//     ScanStatus status = reader.Start(device, "");
//     while (status.code == S_OK && (status = reader.NextPage(page)).code == S_OK && page) {
//         std::size_t read = 0;
//         while ((status = reader.Read(bytes, sizeof(bytes), read)).code == S_OK && read > 0)
//             Use(*page, bytes, read);
//     }
//     status = reader.End();
#pragma once

#include <memory>
#include <optional>

#include "service/scan_client.h"

// Runs a scan on a thread of its own, on the medium of callbacks, with the device's properties as
// they are. The scan is ahead of its reader by one band at most, and a sheet is fed only when its
// page is asked for: a reader that takes its time holds the scanner up. While the scan runs, the
// device's other operations, this program's, answer WIA_ERROR_BUSY; it may be closed, and its
// driver goes behind the scan.
//
// All operations but Cancel are for one thread at a time.
class CPageReader {
  public:
    CPageReader();
    // As End.
    ~CPageReader();
    CPageReader(const CPageReader&) = delete;
    CPageReader& operator=(const CPageReader&) = delete;

    // Begins a scan; one that this reader has is ended first. `pages` as in ScanOptions. What the
    // driver finds wrong comes with NextPage.
    ScanStatus Start(const CScanDevice& device, const std::string& item, int pages = -1);

    // Waits for the header of the next page; what is left of the present one is passed over.
    // Nothing in `page` with success: there are no more. S_FALSE: cancelled. Any other result is
    // why the scan broke off: a code of IsEmptyFeeder for a feeder that had no page at all.
    ScanStatus NextPage(std::optional<ScanPage>& page);

    // The next bytes of the page, at least one and at most `most`: rows in the page's order, each
    // of ScanPage::stride bytes; a piece may begin and end anywhere. None at the page's end, which
    // is whole then. S_FALSE: cancelled. Another result: the page broke off; all rows have been
    // read before, white ones where the scanner gave none, or as many as there were when the driver
    // gave up too. E_UNEXPECTED without a page.
    ScanStatus Read(BYTE* bytes, std::size_t most, std::size_t& read);

    // From any thread, at any time; doesn't wait. Whoever waits in another operation gets S_FALSE
    // at once, and so does each later one up to the next Start.
    void Cancel();

    // The end of the scan, which is cancelled unless NextPage or Read has told its end. Waits for
    // the driver. Gives what the scan came to, and the count of whole pages; E_UNEXPECTED when
    // there has been none.
    ScanStatus End(int* scanned = nullptr);

  private:
    class Job;

    const std::unique_ptr<Job> m_job;
};
