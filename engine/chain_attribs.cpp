// The attributes that the chain holds and hears of: progress, resolutions, and which automatic
// analyses are wanted and due.

#include <cstdint>

#include "engine/chain.h"
#include "frame/palette_table.h"

namespace {

// Dots per inch. What is written beyond is held at these.
constexpr std::int32_t kMinResolution = 12;
constexpr std::int32_t kMaxResolution = 999999;

}  // namespace

std::span<const QLAttribRow> CChainBase::HeardRows() {
    using C = CChainBase;
    using R = QLRowsOf<C>;
    static constexpr QLAttribRow rows[] = {
        R::Listens(QL_ATTR_CMD_START).Calls<&C::OnStart>(),
        R::Listens(QL_ATTR_CMD_STOP).Calls<&C::OnStopCommand>(),
        R::Listens(QL_ATTR_ANALYSIS_OVERRIDE).Calls<&C::TouchAll>(),
        R::Listens(QL_ATTR_OUTPUT_TYPE).Calls<&C::OnOutputTypeChanged>(),
        R::Listens(QL_ATTR_PALETTE_KIND).Calls<&C::OnPaletteKind>(),
        // Nothing happens for rows without an act: the ids get their nodes here, so that a write to
        // them isn't one to an id that nobody knows.
        R::Listens(QL_ATTR_HISTOGRAM_RUN),
        R::Listens(QL_ATTR_INVERT),
        R::Listens(QL_ATTR_NEGATIVE),
        R::Listens(QL_ATTR_CHAIN_EVENT_187),
        R::Listens(QL_ATTR_CHAIN_EVENT_188),
        R::Listens(QL_ATTR_ROTATE_ANGLE),
        R::Listens(QL_ATTR_ROTATE_CW, QL_ATTR_MIRROR_TOGGLE),
        R::Listens(QL_ATTR_MIRROR),
        // A change of these makes a palette that was made from the image stale.
        R::Listens(QL_ATTR_HIGHLIGHT).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_MIDTONE).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_SHADOW).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_GAMMA).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_CURVE_SELECT).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_AUTO_WHITE).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_AUTO_MID).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_AUTO_BLACK).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_COLOR_DIRTY_A, QL_ATTR_COLOR_DIRTY_D).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_SATURATION).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_TONE_DIRTY_B).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_TONE_DIRTY_A).Calls<&C::TouchPalette>(),
        R::Listens(QL_ATTR_REARM).Calls<&C::Rearm>(),
        R::Listens(QL_ATTR_CMD_ANALYSE).Calls<&C::OnAnalyseCommand>(),
        R::Listens(QL_ATTR_CLEAR_PENDING).Calls<&C::ClearPending>(),
        R::Listens(QL_ATTR_STATUS).Calls<&C::OnStatus>(),
        R::Follows(QL_ATTR_SRC_RES_X).Writes<&C::TakeSourceResX>(),
        R::Follows(QL_ATTR_SRC_RES_Y).Writes<&C::TakeSourceResY>(),
    };
    return rows;
}

std::span<const QLAttribRow> CChainBase::Rows() {
    using C = CChainBase;
    using R = QLRowsOf<C>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_AUTO_AVAILABLE).Reads<&C::IsAvailable>(),
        R::Provides(QL_ATTR_LINES_DONE).Reads<&C::m_linesDone>(),
        // The chain fires what has become due, and takes note of it itself.
        R::Provides(QL_ATTR_TONE_TOUCHED).OnFire<&C::PendTone>(),
        R::Provides(QL_ATTR_AUTO_TONE_ON).Keeps<&C::m_autoTone>().LowByte(),
        R::Provides(QL_ATTR_COLOR_TOUCHED).OnFire<&C::PendColor>(),
        R::Provides(QL_ATTR_AUTO_COLOR_ON).Keeps<&C::m_autoColor>().LowByte(),
        R::Provides(QL_ATTR_FLAG_88),
        R::Provides(QL_ATTR_FLAG_89).Keeps<&C::m_autoFlag89>().LowByte(),
        R::Provides(QL_ATTR_THRESHOLD_TOUCHED).OnFire<&C::PendThreshold>(),
        R::Provides(QL_ATTR_AUTO_THRESHOLD_ON).Keeps<&C::m_autoThreshold>().LowByte(),
        R::Provides(QL_ATTR_PALETTE_TOUCHED).OnFire<&C::PendPalette>(),
        R::Provides(QL_ATTR_SATURATION_BOOST).Keeps<&C::m_saturationBoost>().LowByte(),
        R::Provides(QL_ATTR_AUTO_EXPOSE_COLOR)
            .Reads<&C::m_autoExpose>()
            .Writes<&C::SetAutoExpose>()
            .LowByte(),
        R::Provides(QL_ATTR_DETECT_RECORD).Reads<&C::Probe>().Writes<&C::SetProbe>(),
        R::Provides(QL_ATTR_DETECT_RUN).Reads<&C::RunProbe>(),
        R::Provides(QL_ATTR_PERCENT_DONE).Reads<&C::PercentDone>(),
        R::Provides(QL_ATTR_CHAIN_RESERVED_76),
        R::Provides(QL_ATTR_RES_OPTICAL).Keeps<&C::m_resA>().Clamps(kMinResolution, kMaxResolution),
        R::Provides(QL_ATTR_RES_SCAN_Y).Keeps<&C::m_resB>().Clamps(kMinResolution, kMaxResolution),
        R::Provides(QL_ATTR_RES_SCAN_X).Keeps<&C::m_resC>().Clamps(kMinResolution, kMaxResolution),
        R::Provides(QL_ATTR_AUTO_DESKEW_A)
            .Keeps<&C::m_autoDeskewA>()
            .LowByte()
            .OnFire<&C::PendDeskew>(),
        R::Provides(QL_ATTR_AUTO_DESKEW_B)
            .Keeps<&C::m_autoDeskewB>()
            .LowByte()
            .OnFire<&C::PendDeskew>(),
        R::Provides(QL_ATTR_CHAIN_RESERVED_103),
    };
    return rows;
}

// ---- Analyses that become due

// Announced, not just noted: the ids are this chain's own, and others may listen to them as well.
void CChainBase::TouchAll() {
    if (m_autoColor)
        m_port.Notify(QL_ATTR_COLOR_TOUCHED);
    if (m_autoTone)
        m_port.Notify(QL_ATTR_TONE_TOUCHED);
    if (m_autoThreshold)
        m_port.Notify(QL_ATTR_THRESHOLD_TOUCHED);
    TouchPalette();
}

void CChainBase::TouchPalette() {
    if (m_autoPalette)
        m_port.Notify(QL_ATTR_PALETTE_TOUCHED);
}

// All that is wanted becomes due, and all that isn't no longer is.
void CChainBase::Rearm() {
    m_pendTone = m_autoTone;
    m_pendColor = m_autoColor || m_autoExpose;
    m_pendThreshold = m_autoThreshold;
    m_pendPalette = m_autoPalette;
    m_pendDeskew = m_autoDeskewA || m_autoDeskewB;
}

// A palette that is due stays due.
void CChainBase::ClearPending() {
    m_pendTone = false;
    m_pendColor = false;
    m_pendThreshold = false;
    m_pendDeskew = false;
}

void CChainBase::OnOutputTypeChanged() {
    OnOutputType();
    TakePaletteKind();
    TouchAll();
}

// Only a palette that is made from the image needs the image to be looked at first.
void CChainBase::TakePaletteKind() {
    m_autoPalette = m_outputType == QL_OUTPUT_INDEXED &&
                    WordInteger(m_port.GetValue(QL_ATTR_PALETTE_KIND)) == QL_PALETTE_ADAPTIVE;
}

void CChainBase::OnPaletteKind() {
    TakePaletteKind();
    TouchPalette();
}

void CChainBase::SetAutoExpose(bool on) {
    m_autoExpose = on;
    // Results of an automatic run go, whether it was switched on or off; then what has to run again
    // becomes due.
    m_port.Notify(QL_ATTR_SATURATION_RESET);
    m_port.Notify(QL_ATTR_RESET_COLOR);
    m_port.Notify(QL_ATTR_RESET_TONE);
    if (on)
        m_port.Notify(QL_ATTR_COLOR_TOUCHED);
    if (m_autoTone)
        m_port.Notify(QL_ATTR_TONE_TOUCHED);
}

// ---- Commands and values

void CChainBase::OnAnalyseCommand() {
    Run([this] { Analyse(); });
}

void CChainBase::OnStopCommand() {
    // A client that stops the engine from inside a callback stands on the stack of the very pass
    // that would end.
    m_stopWaits = !Run([this] { OnStop(); });
}

void CChainBase::OnStatus() {
    if (m_port.GetValue(QL_ATTR_STATUS) == 0)
        return;
    // Reads 0 as long as the engine holds the id, which keeps no status. Another holder's failure
    // would end the pass, and the feeder's page with it.
    CloseChain();
    if (m_port.GetValue(QL_ATTR_ADF) != 0)
        m_port.Notify(QL_ATTR_ADF_PAGE_DONE);
}

// The source's resolutions become the scan's, once they are known and others. They cross over: what
// the source calls x sets the resolution along the page.
void CChainBase::TakeSourceResX(std::int32_t dpi) {
    TakeResolution(dpi, &m_resB, QL_ATTR_RES_SCAN_Y);
}

void CChainBase::TakeSourceResY(std::int32_t dpi) {
    TakeResolution(dpi, &m_resC, QL_ATTR_RES_SCAN_X);
}

// Announced by the id of the value that changed, so that readers of the scan's resolution follow.
void CChainBase::TakeResolution(std::int32_t dpi, std::int32_t* field, std::int32_t id) {
    if (dpi == 0 || dpi == *field)
        return;
    *field = dpi;
    m_port.Notify(id);
}

std::int32_t CChainBase::PercentDone() const {
    // Of an image that is turned, to take the lines in counts as nine tenths: a scanner takes that
    // long, and what follows is quick.
    constexpr std::int64_t kTakenShare = 90;
    const bool turns = m_passOpen && m_turner && m_turner->IsActive();
    const std::int64_t share = turns ? 100 - kTakenShare : 100;
    std::int64_t percent = m_linesTotal == 0 ? 0 : m_linesDone * share / m_linesTotal;
    // One that ended early has been taken in as well.
    if (turns && !m_turner->IsLoading())
        percent += kTakenShare;
    else if (turns && m_turner->LinesToLoad() > 0)
        percent += m_turner->LinesLoaded() * kTakenShare / m_turner->LinesToLoad();
    return static_cast<std::int32_t>(percent);
}

void CChainBase::SetProbe(const QLColorQuery* probe) {
    if (probe)
        m_probe = *probe;
}

bool CChainBase::RunProbe() {
    // Not 0 when a stage on the way to the source has answered; only then the colour means
    // something.
    m_probeValid = ProbeColor(&m_probe) != 0;
    return m_probeValid;
}
