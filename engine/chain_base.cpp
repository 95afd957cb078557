#include <algorithm>
#include <limits>
#include <stdexcept>

#include "engine/chain.h"
#include "frame/try_new.h"
#include "platform/module.h"
#include "stages/file_source.h"
#include "stages/saturation.h"

namespace {

constexpr std::int32_t kUsualChunk = 0x40000;  // bytes of a step of a whole pass
constexpr std::int32_t kFewestStepLines = 2;
constexpr std::int32_t kStepsAPass = 5;  // at least, where the image has the lines

// The source of a run; null when there is none. A person is told why, where there is a reason.
std::unique_ptr<CQLSourceStage> MakeSource(QLAttribTree* tree) {
    // A reader refuses a bad bitmap by an exception out of its constructor. It ends here.
    try {
        return TryNew<CFileSourceStage>(tree);
    } catch (const std::runtime_error& error) {
        if (*error.what() != '\0')
            MessageBoxA(nullptr, error.what(), "Error", MB_OK);
        return nullptr;
    }
}

CChainBase* Chain(void* owner) {
    return static_cast<CChainBase*>(owner);
}

}  // namespace

CChainBase::CChainBase(QLAttribTree* tree)
    : m_store(tree),
      m_lines(&m_outFormat),
      m_port(
          tree, this, [](void* owner, std::int32_t id) { Chain(owner)->OnAttribNotify(id); },
          [](void* owner, std::int32_t id) { return Chain(owner)->GetAttrib(id); },
          [](void* owner, std::int32_t id, std::uint64_t value) {
              Chain(owner)->SetAttrib(id, value);
          }) {
    for (const Slot slot : FrontConstruction())
        Make(slot, tree);
    m_rows.Attach(m_port, this, HeardRows());
    m_rows.Attach(m_port, this, Rows());
}

CChainBase::~CChainBase() = default;

// ---- Building

CQLStage* CChainBase::Connect(Slot slot, CQLStage* upstream) {
    // Without one of its stages the chain would give a picture without that stage's work: the build
    // counts as failed.
    CQLStage* stage = (this->*slot).get();
    if (!stage) {
        m_incomplete = true;
        return upstream;
    }
    stage->SetUpstream(upstream);
    return stage;
}

// Without a source the front begins with its first stage: the variant's stages can be built ahead
// of any image, to take settings.
CQLStage* CChainBase::BuildFront() {
    CQLStage* last = m_source.get();
    for (const Slot slot : Front())
        last = Connect(slot, last);
    return last;
}

CQLStage* CChainBase::BuildBody() {
    // Whatever waited for a build is served by this one.
    m_buildWaits = false;
    m_incomplete = false;
    CQLStage* last = BuildVariant(BuildFront());
    return m_incomplete ? nullptr : last;
}

void CChainBase::Build() {
    CQLStage* body = BuildBody();
    m_tail = body ? BuildTail(body) : nullptr;
}

void CChainBase::OnStart() {
    // Stages must not be taken away under a pull that runs through them.
    if (m_busy || m_passOpen) {
        m_buildWaits = true;
        return;
    }
    if (m_sourceDue) {
        m_sourceDue = false;
        if (!m_source)
            CreateSource();
        if (!m_source)
            return;
    }
    Build();
}

void CChainBase::OnStop() {
    if (m_passOpen)
        CloseChain();
    m_sourceDue = false;
    m_tail = nullptr;
    // The front outlives the source: no way may lead to the one that goes.
    if (m_encodedInput)
        m_encodedInput->SetUpstream(nullptr);
    m_source.reset();
    if (m_buildWaits)
        Build();
}

// The stop first: it ends the pass that the build would have to wait for.
void CChainBase::DoWhatWaited() {
    if (m_stopWaits) {
        m_stopWaits = false;
        OnStop();
    }
    if (m_buildWaits && !m_passOpen)
        Build();
}

void CChainBase::CreateSource() {
    m_source = MakeSource(m_store);
    if (!m_source)
        m_port.SetValue(QL_ATTR_STATUS, IntegerWord(QL_ERR_NO_SOURCE));
}

// ---- Passes

void CChainBase::TakeTailFormat() {
    m_outFormat = *m_tail->GetOutputFormat();
    m_linesTotal = m_outFormat.m_height;
    m_linesDone = 0;
}

// An empty band tells clients of the progress, and asks them whether to go on.
QLStatus CChainBase::TakeIn(std::int32_t lines, std::int32_t* taken) {
    std::int32_t count = lines;
    const QLStatus status = m_turner->Load(&count);
    if (status != QL_OK)
        return status;
    *taken = count;
    std::int32_t none = 0;
    return m_tail->Read(&none, &m_lines);
}

QLStatus CChainBase::Pump(std::int32_t lines, std::int32_t* moved) {
    *moved = 0;
    if (!m_tail)
        return QL_ERR_NO_SOURCE;
    if (IsLoading())
        return m_port.GetValue(QL_ATTR_HOLD_OUTPUT) != 0 ? QL_HELD : TakeIn(lines, moved);
    // Never more than the image still has, whatever a stream announces. The bytes of a band have to
    // fit 31 bits.
    const std::int32_t left = std::max(m_linesTotal - m_linesDone, 1);
    const std::int32_t most =
        std::numeric_limits<std::int32_t>::max() / std::max(m_outFormat.m_bytesPerLine, 1);
    std::int32_t count = std::min({lines, left, most});
    // Short of memory, fewer lines will do. None at all count as no memory; a negative count is
    // left to the tail, which refuses it.
    while (count > 0 && !m_lines.Resize(count))
        --count;
    if (count == 0)
        return QL_ERR_NO_MEMORY;
    // Reads 0 unless another provider takes the id over.
    if (m_port.GetValue(QL_ATTR_HOLD_OUTPUT) != 0)
        return QL_HELD;
    const QLStatus status = m_tail->Read(&count, &m_lines);
    if (status != QL_OK)
        return status;
    // Behind the read: the percentage that clients get with a band is that of the lines before it.
    m_linesDone += count;
    *moved = count;
    return QL_OK;
}

QLStatus CChainBase::OpenTail() {
    m_passOpen = true;
    return m_tail->Open();
}

QLStatus CChainBase::RunPass(std::int32_t chunk) {
    return m_tail ? RunOpened(OpenTail(), chunk) : QL_ERR_NO_SOURCE;
}

QLStatus CChainBase::RunOpened(QLStatus opened, std::int32_t chunk) {
    QLStatus status = opened;
    if (status == QL_OK) {
        TakeTailFormat();
        if (m_outFormat.m_height <= 0 || m_outFormat.m_width <= 0 ||
            m_outFormat.m_bytesPerLine <= 0)
            return CloseChain();
        const std::int32_t bytes = chunk < 1 ? kUsualChunk : chunk;
        // 256 KB a step, so that a band stays in the caches; wide lines still come two at a time,
        // and a short image in five steps.
        std::int32_t step = std::max(bytes / m_outFormat.m_bytesPerLine, kFewestStepLines);
        // An image of fewer lines than steps still moves by one.
        step = std::max(std::min(step, m_outFormat.m_height / kStepsAPass), 1);
        std::int32_t moved = 0;
        do {
            status = Pump(step, &moved);
            // An image that ends early is turned as far as it came.
            if (status == QL_OK && moved == 0 && IsLoading() && EndLoading())
                status = Pump(step, &moved);
        } while (status == QL_OK && moved > 0);
        if (status == QL_OK)
            status = PumpHeld();
    }
    const QLStatus closed = CloseChain();
    if (status == QL_OK)
        status = closed;
    if (status != QL_OK)
        m_port.SetValue(QL_ATTR_STATUS, IntegerWord(status));
    return status;
}

std::int32_t CChainBase::HeldLines() const {
    std::int32_t lines = 0;
    for (const CQLStage* stage = m_tail; stage; stage = stage->Upstream())
        lines += stage->HeldLines();
    return lines;
}

bool CChainBase::EndLoading() {
    std::int32_t held = 0;
    for (CQLStage* stage = m_turner->Upstream(); stage; stage = stage->Upstream()) {
        held += stage->HeldLines();
        stage->OnEndOfInput();
    }
    QLStatus status = QL_OK;
    std::int32_t taken = held;
    while (status == QL_OK && taken > 0 && taken == held && IsLoading())
        status = m_turner->Load(&taken);
    if (m_turner->LinesLoaded() == 0)
        return false;
    m_turner->EndLoading();
    return true;
}

QLStatus CChainBase::PumpHeld() {
    const std::int32_t held = HeldLines();
    if (held == 0 || m_linesDone >= m_linesTotal)
        return QL_OK;
    for (CQLStage* stage = m_tail; stage; stage = stage->Upstream())
        stage->OnEndOfInput();
    QLStatus status = QL_OK;
    std::int32_t delivered = held;
    while (status == QL_OK && delivered == held && m_linesDone < m_linesTotal)
        status = Pump(held, &delivered);
    return status;
}

QLStatus CChainBase::CloseChain() {
    // First of all: what is announced from here on finds the pass over, and may build.
    m_passOpen = false;
    m_linesDone = 0;
    m_lines.Resize(0);
    const QLStatus status = m_tail ? m_tail->Close() : QL_OK;
    if (m_port.GetValue(QL_ATTR_ADF_EVENT_ENABLE) != 0 && m_port.GetValue(QL_ATTR_ADF) != 0)
        m_port.Notify(QL_ATTR_ADF_PAGE_DONE);
    return status;
}

// What is due and fits the type of output is asked of its stage before the chain is built: the
// stages collect on the pass that follows.
QLStatus CChainBase::OpenForAnalysis() {
    const std::int32_t type = WordInteger(m_port.GetValue(QL_ATTR_OUTPUT_TYPE));
    if (type == QL_OUTPUT_LINE_ART && m_pendThreshold)
        m_port.Notify(QL_ATTR_THRESHOLD_AUTO);
    if (HasColors(type) && m_pendColor)
        m_port.Notify(QL_ATTR_AUTO_COLOR);
    if (HasTones(type) && m_pendTone)
        m_port.Notify(QL_ATTR_AUTO_TONE);
    Build();
    // In any case: the same holds for what follows the close.
    BeforeAnalysisOpen();
    return m_tail ? OpenTail() : QL_ERR_NO_SOURCE;
}

QLStatus CChainBase::OpenForPalette() {
    if (m_passOpen)
        CloseChain();
    // The stage of the palette takes it as a request for this pass.
    m_port.Notify(QL_ATTR_PALETTE_COLLECT);
    Build();
    if (!m_source || !m_tail)
        return QL_ERR_NO_SOURCE;
    return OpenTail();
}

void CChainBase::Analyse() {
    m_analysed = false;
    if (m_passOpen || !m_source)
        return;
    // Tone is always looked at on command; the rest as far as it is wanted.
    m_pendColor = m_autoColor || m_autoExpose;
    m_pendTone = true;
    m_pendThreshold = m_autoThreshold;
    m_pendPalette = m_autoPalette;
    // Marks at the ends of the range are no tones of the image.
    HoldClip();
    // Opened once: what failed is closed, and its status told, without a second try.
    QLStatus status = OpenForAnalysis();
    if (m_passOpen)
        status = RunOpened(status, 0);
    else
        m_port.SetValue(QL_ATTR_STATUS, IntegerWord(status));
    AfterAnalysisClose();
    m_analysed = !TakeBackRequests() && status == QL_OK;
    // Only a file can be read a second time.
    if (m_pendPalette && status == QL_OK && m_port.GetValue(QL_ATTR_INPUT_STREAM) == 0)
        CollectPalette();
    ReleaseClip();
}

// A pass of its own: the colours are counted as the analysis before it has made them.
void CChainBase::CollectPalette() {
    const QLStatus opened = OpenForPalette();
    const bool passed = m_passOpen && RunOpened(opened, 0) == QL_OK;
    m_pendPalette = TakeBackRequests() || !passed;
}

// ---- The type of output

// For gray and bilevel results the matrix makes gray of the three channels, ahead of the stage that
// takes one of them. Line art asks the threshold's cell for the mode, halftone and gray the
// halftone cell, which reads 0 as long as nobody provides it.
void CChainBase::SetMatrixMode() {
    std::uint64_t mode = QL_MATRIX_COLOR;
    switch (m_outputType) {
        case QL_OUTPUT_LINE_ART:
            mode = m_port.GetValue(QL_ATTR_THRESHOLD_CELL);
            break;
        case QL_OUTPUT_HALFTONE:
        case QL_OUTPUT_GRAY:
            mode = m_port.GetValue(QL_ATTR_HALFTONE_CELL);
            if (mode == 0)
                mode = QL_MATRIX_GRAY;
            break;
        case QL_OUTPUT_COLOR:
        case QL_OUTPUT_INDEXED:
            break;
        default:
            return;
    }
    // By way of colour: a saturation that was written since lies over the matrix of a mode that
    // stands already, and would stay.
    m_port.SetValue(QL_ATTR_MATRIX_MODE, QL_MATRIX_COLOR);
    m_port.SetValue(QL_ATTR_MATRIX_MODE, mode);
}

void CChainBase::OnOutputType() {
    // By type of output. The source that exists reads a bitmap and takes note of it only.
    constexpr std::uint32_t kRequestedTypes[] = {QL_PIXEL_BILEVEL, QL_PIXEL_HALFTONE,
                                                 QL_PIXEL_GRAY8, QL_PIXEL_RGB8, QL_PIXEL_RGB8};
    m_outputType = WordInteger(m_port.GetValue(QL_ATTR_OUTPUT_TYPE));
    SetMatrixMode();
    if (m_source && m_outputType >= 0 && m_outputType <= QL_OUTPUT_INDEXED)
        m_source->SetRequestedType(kRequestedTypes[m_outputType]);
}
