#include "analysis/photo_analyser.h"

#include <algorithm>

#include "frame/fixed_point.h"

namespace {

constexpr std::int32_t kUsualWhite = 0xcccc;  // 80 percent of full scale
constexpr std::int32_t kLeast = -127;
constexpr std::int32_t kMost = 128;
// Down to this brightness the white code rises to full scale; below it the output gets darker.
constexpr double kBrightnessBend = -25.4;
constexpr double kDarkestOutWhite = 49151.25;  // three quarters of full scale, at -127
constexpr double kBrightestWhite = 16383.75;   // a quarter of it, at 128
constexpr double kReferenceRange = 2000.0;     // of the written references of white and black

// From x0..x1 to y0..y1, held at the ends.
double Lin(double x, double x0, double x1, double y0, double y1) {
    if (x0 == x1)
        return y1;
    const double share = (x - x0) / (x1 - x0);
    if (share <= 0.0)
        return y0;
    return share >= 1.0 ? y1 : share * (y1 - y0) + y0;
}

std::uint16_t LowWord(std::int32_t x) {
    return static_cast<std::uint16_t>(x);
}

}  // namespace

std::span<const QLAttribRow> CPhotoToneAnalyser::Rows() {
    using A = CPhotoToneAnalyser;
    using R = QLRowsOf<A>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_EXPOSURE_PRESET).Writes<&A::ApplyPreset>().Range(1, 5),
        R::Provides(QL_ATTR_BRIGHTNESS)
            .Reads<&A::Brightness>()
            .Writes<&A::SetBrightness>()
            .Range(kLeast, kMost),
        R::Provides(QL_ATTR_CONTRAST)
            .Reads<&A::Contrast>()
            .Writes<&A::SetContrast>()
            .Range(kLeast, kMost),
        R::Follows(QL_ATTR_ADF).Writes<&A::SetFeeder>(),
        R::Follows(QL_ATTR_AUTO_WHITE_REF).Writes<&A::SetWhiteRef>(),
        R::Follows(QL_ATTR_AUTO_BLACK_REF).Writes<&A::SetBlackRef>(),
    };
    return rows;
}

CPhotoToneAnalyser::CPhotoToneAnalyser(QLAttribTree* tree)
    : CLevelToneAnalyser(tree), m_lutGray(CQLLut::kFullSize, CQLLut::kPlain) {
    m_gain[QL_POINT_WHITE] = 0.45;
    SetHighlight(WhiteToLevel(m_whiteRef));
    SetShadow(BlackToLevel(0));
    m_rows.Attach(*this, this, Rows());
}

bool CPhotoToneAnalyser::IsComplete() const {
    return CLevelToneAnalyser::IsComplete() && GrayTable();
}

void CPhotoToneAnalyser::BuildCurves() {
    if (!m_dirty)
        return;
    CLevelToneAnalyser::BuildCurves();
    m_lutGray.BuildClipRamp(m_blackCode, m_whiteCode);
    FinishTone({&m_lutGray, 1});
}

void CPhotoToneAnalyser::ResetTone() {
    SetHighlight(WhiteToLevel(m_whiteRef));
    SetMidtone(0);
    SetShadow(NeutralShadow());
    BuildCurves();
}

std::int32_t CPhotoToneAnalyser::NeutralShadow() const {
    return BlackToLevel(m_isFeeder ? m_blackRef : 0);
}

// ---- Brightness and contrast

void CPhotoToneAnalyser::SetBrightness(std::int32_t value) {
    const double v = std::clamp(value, kLeast, kMost);
    m_whiteCode = kSampleMax;
    m_outWhite = kSampleMax;
    if (v <= kBrightnessBend) {
        m_outWhite =
            LowWord(RoundToI32(Lin(v, kBrightnessBend, kLeast, kSampleMax, kDarkestOutWhite)));
        SetHighlight(OutWhiteToLevel(m_outWhite));
        return;
    }
    m_whiteCode = RoundToI32(v <= 0.0 ? Lin(v, 0.0, kBrightnessBend, m_whiteRef, kSampleMax)
                                      : Lin(v, 0.0, kMost, m_whiteRef, kBrightestWhite));
    SetHighlight(WhiteToLevel(m_whiteCode));
}

void CPhotoToneAnalyser::SetContrast(std::int32_t value) {
    const double v = std::clamp(value, kLeast, kMost);
    m_blackCode = 0;
    m_outBlack = 0;
    if (v <= 0.0) {
        m_outBlack = LowWord(RoundToI32(Lin(v, 0.0, kLeast, 0.0, MostOutBlack())));
        SetShadow(OutBlackToLevel(m_outBlack));
    } else {
        m_blackCode = RoundToI32(Lin(v, 0.0, kMost, 0.0, MostBlack()));
        SetShadow(BlackToLevel(m_blackCode));
    }
}

// What the levels amount to; whole levels and whole numbers don't always come back as written.
std::int32_t CPhotoToneAnalyser::Brightness() {
    WhiteFromHighlight();
    if (m_whiteCode == kSampleMax)
        return TruncToI32(Lin(m_outWhite, kSampleMax, kDarkestOutWhite, kBrightnessBend, kLeast));
    if (m_whiteCode < m_whiteRef)
        return RoundToI32(Lin(m_whiteCode, m_whiteRef, kBrightestWhite, 0.0, kMost));
    return TruncToI32(Lin(m_whiteCode, m_whiteRef, kSampleMax, 0.0, kBrightnessBend));
}

std::int32_t CPhotoToneAnalyser::Contrast() {
    BlackFromShadow();
    return RoundToI32(m_blackCode == 0 ? Lin(m_outBlack, 0.0, MostOutBlack(), 0.0, kLeast)
                                       : Lin(m_blackCode, 0.0, MostBlack(), 0.0, kMost));
}

double CPhotoToneAnalyser::MostOutBlack() const {
    return 2.0 / m_blackDivisor * 65535.0;
}

double CPhotoToneAnalyser::MostBlack() const {
    return 1.0 / m_blackDivisor * 65535.0;
}

// ---- What the board says

// 1 and 2 are for dark originals, 4 and 5 for light ones, 3 is neutral.
void CPhotoToneAnalyser::ApplyPreset(std::int32_t preset) {
    struct Preset {
        std::int32_t number;
        double whiteFactor;  // 0: the white code stays
        std::int32_t midtone;
    };
    static constexpr Preset kPresets[] = {{1, 1.2, -67}, {2, 1.1, -33}, {4, 0.0, 33}, {5, 0.0, 67}};

    Notify(QL_ATTR_RESET_TONE);
    SetShadow(BlackToLevel(m_blackRef));
    Notify(QL_ATTR_AUTO_BLACK);
    const auto* found = std::ranges::find(kPresets, preset, &Preset::number);
    if (found == std::end(kPresets))
        return;
    if (found->whiteFactor != 0.0)
        SetHighlight(WhiteToLevel(TruncToI32(m_whiteCode * found->whiteFactor)));
    SetMidtone(found->midtone);
    if (found->whiteFactor != 0.0)
        Notify(QL_ATTR_AUTO_WHITE);
    Notify(QL_ATTR_AUTO_MID);
}

void CPhotoToneAnalyser::SetFeeder(bool feeder) {
    if (feeder == m_isFeeder)
        return;
    m_isFeeder = feeder;
    if (Shadow() != NeutralShadow())
        SetShadow(NeutralShadow());
}

// A reference takes effect at once only while the level still stands at the usual one.
void CPhotoToneAnalyser::SetWhiteRef(std::int32_t value) {
    m_whiteRef = LowWord(RoundToI32(Lin(value, 0.0, kReferenceRange, 131070.0, 0.0)));
    if (Highlight() == WhiteToLevel(kUsualWhite) && m_whiteRef != kUsualWhite)
        SetHighlight(WhiteToLevel(m_whiteRef));
}

void CPhotoToneAnalyser::SetBlackRef(std::int32_t value) {
    m_blackRef = LowWord(RoundToI32(Lin(value, 0.0, kReferenceRange, 65535.0, -65535.0)));
    if (m_isFeeder && Shadow() == BlackToLevel(0) && m_blackRef != 0)
        SetShadow(BlackToLevel(m_blackRef));
}
