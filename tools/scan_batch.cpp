#include "tools/scan_batch.h"

#include <string>
#include <thread>

#include "platform/terminal.h"
#include "tools/console.h"
#include "tools/interrupt_watch.h"

// Ctrl-C ends the program out of the reading; a terminal that goes ends the input too.
BatchWish AskForNextPage(int page) {
    const auto answer = AskLine("Page " + std::to_string(page) + ": Enter scans it, q ends: ");
    if (WasInterrupted())
        return BatchWish::Cancelled;
    const bool isNext = answer && !answer->starts_with('q') && !answer->starts_with('Q');
    return isNext ? BatchWish::Next : BatchWish::Done;
}

BatchWish WaitForNextPage(int page, std::chrono::steady_clock::time_point when) {
    constexpr std::chrono::milliseconds kLook(50);

    const bool isTerminal = IsErrorTerminal();
    while (!WasInterrupted()) {
        const auto left = when - std::chrono::steady_clock::now();
        if (left <= left.zero())
            break;
        if (isTerminal) {
            const auto seconds = std::chrono::ceil<std::chrono::seconds>(left).count();
            ShowPassingLine("page " + std::to_string(page) + " in " + std::to_string(seconds) +
                            " s");
        }
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(left, kLook));
    }
    WipePassingLine();
    return WasInterrupted() ? BatchWish::Cancelled : BatchWish::Next;
}
