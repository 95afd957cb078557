#include <algorithm>
#include <limits>

#include "engine/chain.h"
#include "engine/input_stream.h"
#include "frame/try_new.h"

namespace {

// Lines that stay behind in the stream at least as long as more input is to be expected.
constexpr std::int32_t kFewestBehind = 5;
// A single line waits for the next, if there is one: it is not worth a pull.
constexpr std::int64_t kFewestFeedLines = 2;
constexpr DWORD kInformation = 64;

}  // namespace

CChainPump::CChainPump(QLAttribTree* tree)
    : CChainBase(tree),
      m_outputConvert(tree),
      m_port(tree, this, &CChainPump::OnNotify, nullptr, nullptr) {
    m_rows.Attach(m_port, this, Rows());
}

std::span<const QLAttribRow> CChainPump::Rows() {
    using C = CChainPump;
    using R = QLRowsOf<C>;
    static constexpr QLAttribRow rows[] = {
        R::Listens(QL_ATTR_CMD_OPEN_ANALYSED).Calls<&C::OnOpenAnalysed>(),
        R::Listens(QL_ATTR_CMD_FEED).Calls<&C::OnFeed>(),
        R::Listens(QL_ATTR_CMD_BEGIN).Calls<&C::OnBegin>(),
        R::Listens(QL_ATTR_CMD_END).Calls<&C::OnEnd>(),
    };
    return rows;
}

void CChainPump::OnBegin() {
    Run([this] { Begin(); });
}

void CChainPump::OnOpenAnalysed() {
    Run([this] { OpenAnalysed(); });
}

void CChainPump::OnFeed() {
    Run([this] { Feed(); });
}

void CChainPump::OnEnd() {
    Run([this] { End(); });
}

void CChainPump::OnStop() {
    CChainBase::OnStop();
    m_begun = false;
    m_holdMark = 0;
    m_restWaits = false;
}

void CChainPump::ConnectOutput(CQLStage* upstream) {
    m_outputConvert.SetUpstream(upstream);
    m_sink->SetUpstream(&m_outputConvert);
    m_tail = m_sink.get();
    // The sink says which rows it takes; the conversion before it makes them.
    m_outputConvert.SetTargetLayout(m_sink->WantedLayout());
}

QLStatus CChainPump::BuildWithSink() {
    // A begin without an end before it: the pass that is open ends here.
    if (m_passOpen)
        CloseChain();
    m_begun = true;
    m_restWaits = false;
    m_tail = nullptr;
    m_sink.reset();
    // No way leads to a sink that is gone, also when there is no memory for another.
    m_outputConvert.ForgetDownstream();
    // A new one takes the four ids of the band over, and knows nothing of the image before.
    m_sink = TryNew<CBandSinkStage>(m_store);
    if (!m_sink)
        return QL_ERR_NO_MEMORY;
    // Before the open: its header is announced from inside.
    m_sink->SetOn(true);
    if (!m_source)
        return QL_ERR_NO_SOURCE;
    CQLStage* body = BuildBody();
    if (!body)
        return QL_ERR_NO_MEMORY;
    ConnectOutput(body);
    return QL_OK;
}

QLStatus CChainPump::Begin() {
    QLStatus status = BuildWithSink();
    if (status != QL_OK)
        return status;
    m_passOpen = true;
    status = m_tail->Open();
    TakeTailFormat();
    m_firstFeed = true;
    m_linesLeft = 0;
    // One more than the stages keep back, so that the stream never runs dry between two bands.
    m_linesBehind = std::max(HeldLines() + 1, kFewestBehind);
    LogChain();
    // What failed to open takes no lines. Closing it gives its memory back.
    if (status != QL_OK)
        CloseChain();
    return status;
}

QLStatus CChainPump::OpenAnalysed() {
    QLStatus status = BuildWithSink();
    if (status != QL_OK)
        return status;
    status = RunPass(0);
    if (status == QL_OK) {
        m_firstFeed = true;
        m_holdMark = 0;
    }
    return status;
}

void CChainPump::Feed() {
    // The word holds the platform's interface; whoever feeds this engine implements the class
    // behind it.
    auto* stream =
        static_cast<CQLInputStream*>(WordPointer<IStream>(m_port.GetValue(QL_ATTR_INPUT_STREAM)));
    if (!m_passOpen || !stream)
        return;
    if (m_restWaits) {
        DeliverTurned();
        return;
    }
    const bool loading = IsLoading();
    const std::int64_t lines = stream->m_nLines;
    const bool brought = m_firstFeed || lines > m_linesLeft;
    m_linesLeft = lines;
    // The first feed sets the mark at what it will leave behind.
    if (m_firstFeed) {
        m_holdMark = lines - m_linesBehind;
        m_firstFeed = false;
    }
    // Both counters wrap: only whether they differ says something. Without bytes there are the
    // lines that stages keep back.
    if (stream->m_cbWritten == stream->m_cbRead && HeldLines() == 0)
        return;
    const std::int64_t wanted = WantedLines(lines, brought);
    if (wanted < 1)
        return;
    std::int32_t done = 0;
    const QLStatus status = Pump(
        static_cast<std::int32_t>(std::min<std::int64_t>(wanted, std::numeric_limits<int>::max())),
        &done);
    if (status != QL_OK)
        m_port.SetValue(QL_ATTR_STATUS, IntegerWord(status));
    // A failed pump took none: the lines stay announced, and a later feed tries again.
    stream->m_nLines -= static_cast<std::uint32_t>(done);
    m_linesLeft = stream->m_nLines;
    m_restWaits = loading && !IsLoading();
}

void CChainPump::DeliverTurned() {
    std::int32_t done = 0;
    const QLStatus status = Pump(QL_TURNED_BAND, &done);
    if (status != QL_OK)
        m_port.SetValue(QL_ATTR_STATUS, IntegerWord(status));
    // Behind a pump that failed or was held, a later feed tries again.
    m_restWaits = m_linesDone < m_linesTotal;
}

// A feed that finds more than the mark leaves as many behind as the first one. One that finds no
// more, and one that brought nothing, like that behind the last band, takes all. With 20 lines a
// band, of which five stay: 15 of 20, 20 of 25, ..., and 5 of 5.
std::int64_t CChainPump::WantedLines(std::int64_t lines, bool brought) const {
    if (!brought)
        return lines;
    if (lines < kFewestFeedLines)
        return 0;
    return lines > m_holdMark ? lines - m_linesBehind : lines;
}

void CChainPump::EndInput() {
    Run([this] {
        QLStatus status = QL_OK;
        if (IsLoading())
            m_restWaits = EndLoading();
        else if (m_passOpen && !m_restWaits)
            status = PumpHeld();
        if (status != QL_OK)
            m_port.SetValue(QL_ATTR_STATUS, IntegerWord(status));
    });
}

void CChainPump::End() {
    if (!m_begun)
        return;
    m_begun = false;
    m_holdMark = 0;
    m_firstFeed = true;
    m_restWaits = false;
    // Ahead of the close: lines that the engine adds still belong to this pass.
    m_port.Notify(QL_ATTR_END_OF_IMAGE);
    if (m_passOpen)
        CloseChain();
}

// One line a stage, in data order: what this run does to the image.
void CChainPump::LogChain() {
    // Asked first: the chain is walked for the log's sake only.
    if (!m_log.ShouldLog(kInformation))
        return;
    m_log.Format(kInformation, "Chain: %d x %d pixels, %d bits each", m_outFormat.m_width,
                 m_outFormat.m_height, m_outFormat.m_bitsPerPixel);
    LogStages(m_outputConvert.Upstream());
}

void CChainPump::LogStages(const CQLStage* stage) {
    if (!stage)
        return;
    // From the tail towards the source, told on the way back: the log reads as the data runs.
    LogStages(stage->Upstream());
    if (const char* name = ClassNameOf(stage)) {
        m_log.Format(kInformation, "Chain: %s %s", name, stage->IsActive() ? "active" : "bypassed");
    }
}
