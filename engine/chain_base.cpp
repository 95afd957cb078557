#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

#include "engine/chain.h"
#include "frame/fixed_point.h"
#include "platform/module.h"
#include "stages/file_source.h"
#include "stages/matrix_stages.h"

namespace {

constexpr std::int32_t kUsualChunk = 0x40000;  // bytes of a step of a whole pass
constexpr std::int32_t kFewestStepLines = 2;
constexpr std::int32_t kStepsAPass = 5;  // at least, where the image has the lines
constexpr std::int32_t kMinResolution = 12;
constexpr std::int32_t kMaxResolution = 999999;
constexpr std::int32_t kUserPalette = 3;  // QL_ATTR_PALETTE_KIND of a palette made from the image

// Settings whose change makes a palette that was made from the image stale.
constexpr std::int32_t kPaletteInputs[] = {
    QL_ATTR_HIGHLIGHT,     QL_ATTR_MIDTONE,       QL_ATTR_SHADOW,     QL_ATTR_GAMMA,
    QL_ATTR_CURVE_SELECT,  QL_ATTR_AUTO_WHITE,    QL_ATTR_AUTO_MID,   QL_ATTR_AUTO_BLACK,
    QL_ATTR_COLOR_DIRTY_A, QL_ATTR_COLOR_DIRTY_B, QL_ATTR_HUE_X,      QL_ATTR_HUE_Y,
    QL_ATTR_COLOR_DIRTY_C, QL_ATTR_COLOR_DIRTY_D, QL_ATTR_SATURATION, QL_ATTR_TONE_DIRTY_B,
    QL_ATTR_TONE_DIRTY_A,
};

constexpr std::int32_t kSubscriptions[] = {
    QL_ATTR_CMD_START,    QL_ATTR_CMD_STOP,        QL_ATTR_ANALYSIS_OVERRIDE,
    QL_ATTR_OUTPUT_TYPE,  QL_ATTR_HISTOGRAM_RUN,   QL_ATTR_INVERT,
    QL_ATTR_NEGATIVE,     QL_ATTR_CHAIN_EVENT_187, QL_ATTR_CHAIN_EVENT_188,
    QL_ATTR_ROTATE_ANGLE,
};

// What the chain fires about analyses that have become due, and takes note of itself.
constexpr std::int32_t kProvided[] = {
    QL_ATTR_AUTO_AVAILABLE,
    QL_ATTR_LINES_DONE,
    QL_ATTR_TONE_TOUCHED,
    QL_ATTR_AUTO_TONE_ON,
    QL_ATTR_COLOR_TOUCHED,
    QL_ATTR_AUTO_COLOR_ON,
    QL_ATTR_FLAG_88,
    QL_ATTR_FLAG_89,
    QL_ATTR_THRESHOLD_TOUCHED,
    QL_ATTR_AUTO_THRESHOLD_ON,
    QL_ATTR_PALETTE_TOUCHED,
    QL_ATTR_SATURATION_BOOST,
    QL_ATTR_AUTO_EXPOSE_COLOR,
    QL_ATTR_DETECT_RECORD,
    QL_ATTR_DETECT_RUN,
    QL_ATTR_PERCENT_DONE,
    QL_ATTR_CHAIN_RESERVED_76,
    QL_ATTR_RES_OPTICAL,
    QL_ATTR_RES_SCAN_Y,
    QL_ATTR_RES_SCAN_X,
    QL_ATTR_AUTO_DESKEW_A,
    QL_ATTR_AUTO_DESKEW_B,
    QL_ATTR_CHAIN_RESERVED_103,
};

// The source of a run; null when there is none. A person is told why, where there is a reason.
std::unique_ptr<CQLSourceStage> MakeSource(QLAttribTree* tree) {
    try {
        return std::unique_ptr<CQLSourceStage>(new (std::nothrow) CFileSourceStage(tree));
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
    RegisterAttributes();
}

CChainBase::~CChainBase() = default;

void CChainBase::RegisterAttributes() {
    for (const std::int32_t id : kSubscriptions)
        m_port.Subscribe(id);
    for (std::int32_t id = QL_ATTR_ROTATE_CW; id <= QL_ATTR_MIRROR_TOGGLE; ++id)
        m_port.Subscribe(id);
    m_port.Subscribe(QL_ATTR_MIRROR);
    for (const std::int32_t id : kPaletteInputs)
        m_port.Subscribe(id);
    for (const std::int32_t id :
         {QL_ATTR_REARM, QL_ATTR_CMD_ANALYSE, QL_ATTR_CLEAR_PENDING, QL_ATTR_STATUS})
        m_port.Subscribe(id);
    m_port.SubscribeAndSync(QL_ATTR_SRC_RES_X);
    m_port.SubscribeAndSync(QL_ATTR_SRC_RES_Y);
    for (const std::int32_t id : kProvided)
        m_port.RegisterProvider(id);
}

// ---- Building

CQLStage* CChainBase::Connect(Slot slot, CQLStage* upstream) {
    CQLStage* stage = (this->*slot).get();
    if (!stage) {
        m_incomplete = m_incomplete || HasClass(slot);
        return upstream;
    }
    stage->SetUpstream(upstream);
    return stage;
}

CQLStage* CChainBase::BuildFront() {
    CQLStage* last = m_source.get();
    for (const Slot slot : Front())
        last = Connect(slot, last);
    return last;
}

CQLStage* CChainBase::BuildBody() {
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
    if (m_encodedInput)
        m_encodedInput->SetUpstream(nullptr);
    m_source.reset();
    if (m_buildWaits)
        Build();
}

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

QLStatus CChainBase::Pump(std::int32_t lines, std::int32_t* delivered) {
    *delivered = 0;
    if (!m_tail)
        return QL_ERR_NO_SOURCE;
    // Never more than the image still has, whatever a stream announces. The bytes of a band have to
    // fit 31 bits.
    const std::int32_t left = std::max(m_linesTotal - m_linesDone, 1);
    const std::int32_t most =
        std::numeric_limits<std::int32_t>::max() / std::max(m_outFormat.m_bytesPerLine, 1);
    std::int32_t count = std::min({lines, left, most});
    while (count > 0 && !m_lines.Resize(count))
        --count;
    if (count == 0)
        return QL_ERR_NO_MEMORY;
    if (m_port.GetValue(QL_ATTR_HOLD_OUTPUT) != 0)
        return QL_HELD;
    const QLStatus status = m_tail->Read(&count, &m_lines);
    if (status != QL_OK)
        return status;
    m_linesDone += count;
    *delivered = count;
    return QL_OK;
}

QLStatus CChainBase::RunPass(std::int32_t chunk) {
    if (!m_tail)
        return QL_ERR_NO_SOURCE;
    m_passOpen = true;
    QLStatus status = m_tail->Open();
    if (status == QL_OK) {
        TakeTailFormat();
        if (m_outFormat.m_height <= 0 || m_outFormat.m_width <= 0 ||
            m_outFormat.m_bytesPerLine <= 0)
            return CloseChain();
        const std::int32_t bytes = chunk < 1 ? kUsualChunk : chunk;
        std::int32_t step = std::max(bytes / m_outFormat.m_bytesPerLine, kFewestStepLines);
        // An image of fewer lines than steps still moves by one.
        step = std::max(std::min(step, m_outFormat.m_height / kStepsAPass), 1);
        std::int32_t delivered = 0;
        do {
            status = Pump(step, &delivered);
        } while (status == QL_OK && delivered > 0);
    }
    const QLStatus closed = CloseChain();
    if (status == QL_OK)
        status = closed;
    if (status != QL_OK)
        m_port.SetValue(QL_ATTR_STATUS, IntegerWord(status));
    return status;
}

QLStatus CChainBase::CloseChain() {
    m_passOpen = false;
    m_linesDone = 0;
    m_lines.Resize(0);
    const QLStatus status = m_tail ? m_tail->Close() : QL_OK;
    if (m_port.GetValue(QL_ATTR_ADF_EVENT_ENABLE) != 0 && m_port.GetValue(QL_ATTR_ADF) != 0)
        m_port.Notify(QL_ATTR_ADF_PAGE_DONE);
    return status;
}

QLStatus CChainBase::OpenForAnalysis() {
    const std::int32_t type = WordInteger(m_port.GetValue(QL_ATTR_OUTPUT_TYPE));
    const bool bilevel = type == QL_OUTPUT_LINE_ART || type == QL_OUTPUT_HALFTONE;
    const bool color = type == QL_OUTPUT_COLOR || type == QL_OUTPUT_INDEXED;
    if (bilevel && m_pend.m_threshold)
        m_port.Notify(QL_ATTR_THRESHOLD_AUTO);
    if (color && m_pend.m_color)
        m_port.Notify(QL_ATTR_AUTO_COLOR);
    if ((color || type == QL_OUTPUT_GRAY) && m_pend.m_tone)
        m_port.Notify(QL_ATTR_AUTO_TONE);
    Build();
    if (!m_tail)
        return QL_ERR_NO_SOURCE;
    BeforeAnalysisOpen();
    m_passOpen = true;
    return m_tail->Open();
}

QLStatus CChainBase::OpenForPalette() {
    CloseChain();
    m_port.Notify(QL_ATTR_PALETTE_COLLECT);
    Build();
    if (!m_source || !m_tail)
        return QL_ERR_NO_SOURCE;
    m_passOpen = true;
    return m_tail->Open();
}

void CChainBase::Analyse() {
    if (m_passOpen || !m_source)
        return;
    m_pend.m_color = m_auto.m_color || m_autoExpose;
    m_pend.m_tone = true;
    m_pend.m_threshold = m_auto.m_threshold;
    m_pend.m_palette = m_auto.m_palette;
    OpenForAnalysis();
    RunPass(0);
    AfterAnalysisClose();
}

// ---- Attributes

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
                mode = 1;
            break;
        case QL_OUTPUT_COLOR:
        case QL_OUTPUT_INDEXED:
            break;
        default:
            return;
    }
    m_port.SetValue(QL_ATTR_MATRIX_MODE, mode);
}

void CChainBase::OnOutputType() {
    constexpr std::uint32_t kRequestedTypes[] = {QL_PIXEL_BILEVEL, QL_PIXEL_HALFTONE,
                                                 QL_PIXEL_GRAY8, QL_PIXEL_RGB8, QL_PIXEL_RGB8};
    m_outputType = WordInteger(m_port.GetValue(QL_ATTR_OUTPUT_TYPE));
    SetMatrixMode();
    if (m_source && m_outputType >= 0 && m_outputType <= QL_OUTPUT_INDEXED)
        m_source->SetRequestedType(kRequestedTypes[m_outputType]);
}

void CChainBase::Touch(const QLAnalysisFlags& wanted) {
    if (wanted.m_color)
        m_port.Notify(QL_ATTR_COLOR_TOUCHED);
    if (wanted.m_tone)
        m_port.Notify(QL_ATTR_TONE_TOUCHED);
    if (wanted.m_threshold)
        m_port.Notify(QL_ATTR_THRESHOLD_TOUCHED);
    if (wanted.m_palette)
        m_port.Notify(QL_ATTR_PALETTE_TOUCHED);
}

void CChainBase::OnOutputTypeChanged() {
    OnOutputType();
    m_auto.m_palette = m_outputType == QL_OUTPUT_INDEXED &&
                       WordInteger(m_port.GetValue(QL_ATTR_PALETTE_KIND)) == kUserPalette;
    Touch(m_auto);
}

// The source's resolution becomes the scan's, once it is known and another.
void CChainBase::TakeResolution(std::int32_t sourceId, std::int32_t id) {
    std::int32_t& field = *ResolutionField(id);
    const std::int32_t value = WordInteger(m_port.GetValue(sourceId));
    if (value == 0 || value == field)
        return;
    field = value;
    m_port.Notify(id);
}

void CChainBase::OnAttribNotify(std::int32_t id) {
    switch (id) {
        case QL_ATTR_CMD_ANALYSE:
            Run([this] { Analyse(); });
            return;
        case QL_ATTR_CMD_START:
            OnStart();
            return;
        case QL_ATTR_CMD_STOP:
            m_stopWaits = !Run([this] { OnStop(); });
            return;
        case QL_ATTR_AUTO_DESKEW_A:
        case QL_ATTR_AUTO_DESKEW_B:
            m_pend.m_deskew = true;
            return;
        case QL_ATTR_TONE_TOUCHED:
            m_pend.m_tone = true;
            return;
        case QL_ATTR_COLOR_TOUCHED:
            m_pend.m_color = true;
            return;
        case QL_ATTR_THRESHOLD_TOUCHED:
            m_pend.m_threshold = true;
            return;
        case QL_ATTR_PALETTE_TOUCHED:
            m_pend.m_palette = true;
            return;
        case QL_ATTR_REARM:
            m_pend = m_auto;
            m_pend.m_color = m_auto.m_color || m_autoExpose;
            m_pend.m_deskew = m_autoDeskewA || m_autoDeskewB;
            return;
        case QL_ATTR_OUTPUT_TYPE:
            OnOutputTypeChanged();
            return;
        case QL_ATTR_ANALYSIS_OVERRIDE:
            Touch(m_auto);
            return;
        case QL_ATTR_SRC_RES_X:
            TakeResolution(id, QL_ATTR_RES_SCAN_Y);
            return;
        case QL_ATTR_SRC_RES_Y:
            TakeResolution(id, QL_ATTR_RES_SCAN_X);
            return;
        case QL_ATTR_STATUS:
            if (m_port.GetValue(id) != 0) {
                CloseChain();
                if (m_port.GetValue(QL_ATTR_ADF) != 0)
                    m_port.Notify(QL_ATTR_ADF_PAGE_DONE);
            }
            return;
        case QL_ATTR_CLEAR_PENDING:
            m_pend = {.m_palette = m_pend.m_palette};
            return;
        default:
            break;
    }
    if (m_auto.m_palette && std::find(std::begin(kPaletteInputs), std::end(kPaletteInputs), id) !=
                                std::end(kPaletteInputs))
        m_port.Notify(QL_ATTR_PALETTE_TOUCHED);
}

std::int32_t* CChainBase::ResolutionField(std::int32_t id) {
    switch (id) {
        case QL_ATTR_RES_OPTICAL:
            return &m_resA;
        case QL_ATTR_RES_SCAN_Y:
            return &m_resB;
        case QL_ATTR_RES_SCAN_X:
            return &m_resC;
        default:
            return nullptr;
    }
}

bool* CChainBase::FlagField(std::int32_t id) {
    switch (id) {
        case QL_ATTR_AUTO_TONE_ON:
            return &m_auto.m_tone;
        case QL_ATTR_AUTO_COLOR_ON:
            return &m_auto.m_color;
        case QL_ATTR_FLAG_89:
            return &m_autoFlag89;
        case QL_ATTR_AUTO_THRESHOLD_ON:
            return &m_auto.m_threshold;
        case QL_ATTR_SATURATION_BOOST:
            return &m_saturationBoost;
        case QL_ATTR_AUTO_DESKEW_A:
            return &m_autoDeskewA;
        case QL_ATTR_AUTO_DESKEW_B:
            return &m_autoDeskewB;
        case QL_ATTR_AUTO_EXPOSE_COLOR:
            return &m_autoExpose;
        default:
            return nullptr;
    }
}

std::uint64_t CChainBase::GetAttrib(std::int32_t id) {
    if (const std::int32_t* resolution = ResolutionField(id))
        return IntegerWord(*resolution);
    if (const bool* flag = FlagField(id))
        return *flag;
    switch (id) {
        case QL_ATTR_PERCENT_DONE:
            return m_linesTotal == 0 ? 0
                                     : IntegerWord(static_cast<std::int32_t>(
                                           std::int64_t{m_linesDone} * 100 / m_linesTotal));
        case QL_ATTR_DETECT_RECORD:
            return m_probeValid ? PointerWord(&m_probe) : 0;
        case QL_ATTR_DETECT_RUN:
            m_probeValid = ProbeColor(&m_probe) != 0;
            return m_probeValid;
        case QL_ATTR_LINES_DONE:
            return IntegerWord(m_linesDone);
        case QL_ATTR_AUTO_AVAILABLE:
            return 1;
        default:
            return 0;
    }
}

void CChainBase::SetAutoExpose(bool on) {
    m_autoExpose = on;
    m_port.Notify(QL_ATTR_SATURATION_RESET);
    m_port.Notify(QL_ATTR_RESET_COLOR);
    m_port.Notify(QL_ATTR_RESET_TONE);
    if (on)
        m_port.Notify(QL_ATTR_COLOR_TOUCHED);
    if (m_auto.m_tone)
        m_port.Notify(QL_ATTR_TONE_TOUCHED);
}

void CChainBase::SetAttrib(std::int32_t id, std::uint64_t value) {
    const bool on = (value & 0xFF) != 0;
    if (id == QL_ATTR_AUTO_EXPOSE_COLOR) {
        SetAutoExpose(on);
    } else if (std::int32_t* resolution = ResolutionField(id)) {
        *resolution = std::clamp(WordInteger(value), kMinResolution, kMaxResolution);
    } else if (bool* flag = FlagField(id)) {
        *flag = on;
    } else if (id == QL_ATTR_DETECT_RECORD && value != 0) {
        m_probe = *WordPointer<const QLColorQuery>(value);
    }
}
