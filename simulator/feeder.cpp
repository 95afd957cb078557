#include "simulator/feeder.h"

#include "simulator/builtin_media.h"
#include "simulator/page_scan.h"
#include "simulator/sim_failure.h"

// Through a slot a fed sheet still counts, since the driver asks again between feed and start. On
// the glass it doesn't: only a back that is due does.
bool IsPaperThere(const CSettings& settings, const CDeviceState& state) {
    if (state.sheetsInTray > 0)
        return true;
    const bool sheetThrough = (settings.m_numbers.m_adf2.adfFlags & OSTREL_ADF_SHEET_THROUGH) != 0;
    return state.sheetAtHead != 0 && (sheetThrough || state.backDue != 0);
}

// The order of the checks is what a person would meet: a hatch before a jam, and both before an
// empty tray.
void FeedSheet(const CSettings& settings, CDeviceState& state) {
    if (state.hatchOpen != 0)
        throw CSimFailure(OSTREL_ADF_HATCH_OPEN);
    if (state.jammed != 0)
        throw CSimFailure(OSTREL_ADF_JAMMED);
    if (state.sheetAtHead != 0)
        return;
    if (state.sheetsInTray == 0)
        throw CSimFailure(OSTREL_ADF_EMPTY);
    // A sheet that jams is in the tray still, and nothing moves until somebody clears it.
    if (state.nextSheet == settings.m_numbers.m_jamAtSheet) {
        state.jammed = 1;
        throw CSimFailure(OSTREL_ADF_JAMMED);
    }
    --state.sheetsInTray;
    state.sheetAtHead = state.nextSheet++;
    state.backDue = 0;
    ++state.feeds;
}

// In duplex a front leaves its sheet for the back; every other side ends it.
void EndSide(CDeviceState& state) {
    const bool turn = state.feederMode == OSTREL_ADF_MODE_DUPLEX && state.backDue == 0;
    state.backDue = turn ? 1 : 0;
    if (!turn)
        state.sheetAtHead = 0;
}

// A sheet of which the front is scanned is out: its back is lost with it, as at a real feeder.
void EndFeederJob(CDeviceState& state) {
    if (state.sheetAtHead != 0 && state.backDue == 0) {
        ++state.sheetsInTray;
        state.nextSheet = state.sheetAtHead;
    }
    state.sheetAtHead = 0;
    state.backDue = 0;
    state.feederMode = 0;
    state.jobOpen = 0;
}

std::unique_ptr<CMedium> OpenSheet(const CSettings& settings, std::uint64_t sheet, bool back) {
    if (settings.m_pages.empty())
        return MakeFeederPage(static_cast<std::uint32_t>(sheet), back);
    // Fewer pictures than sheets: they come again.
    const CSheet& pictures = settings.m_pages[(sheet - 1) % settings.m_pages.size()];
    const CPlacing& placing = settings.m_numbers.m_pages;
    // A side without a picture of its own is blank, and as large as the other one.
    const auto side = [&](const std::string& own, const std::string& other) {
        if (!own.empty() && own != kNoPicture)
            return OpenPictureMedium(own, placing);
        if (other.empty() || other == kNoPicture)
            return MakeBlankSheet(*MakeFeederPage(1, false));
        return MakeBlankSheet(*OpenPictureMedium(other, placing));
    };
    return back ? side(pictures.m_back, pictures.m_front) : side(pictures.m_front, pictures.m_back);
}
