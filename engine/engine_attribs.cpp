// The attributes that the engine itself holds: streams, the kind of source, and the tables of the
// scanner's profile.

#include "engine/engine.h"

namespace {

// The engine's input is a bitmap of 8 bits a sample, whatever the scanner's own depth.
constexpr std::int32_t kSourceBits = 8;

// The nine curve coefficients of a record: three blacks, three gains, three gammas.
double CurveCoefficient(const CoeffRecord& record, std::int32_t index) {
    const double* const groups[3] = {record.m_offset, record.m_gain, record.m_gamma};
    return groups[index / 3][index % 3];
}

}  // namespace

std::span<const QLAttribRow> CQLEngine::Rows() {
    using E = CQLEngine;
    using R = QLRowsOf<E>;
    static constexpr QLAttribRow rows[] = {
        // Takes no note of what is written, and reads 0; to write it is to announce it.
        R::Provides(QL_ATTR_STATUS),
        R::Provides(QL_ATTR_SKIP_SHARPEN).Reads<&E::m_skipSharpen>(),
        // A pointer to the platform's interface, for each reader to cast to what it knows the
        // stream to be.
        R::Provides(QL_ATTR_INPUT_STREAM).Reads<&E::InputStream>(),
        R::Provides(QL_ATTR_OUTPUT_STREAM).Reads<&E::m_outputStream>(),
        R::Provides(QL_ATTR_ADF).Reads<&E::m_useFeeder>().Writes<&E::SetUseFeeder>(),
        R::Provides(QL_ATTR_ENGINE_RESERVED_121),
        R::Provides(QL_ATTR_SOURCE_BITS).Reads<&E::SourceBits>(),
        // Reads as the flatbed's table whatever the source; a write goes to the source's own.
        R::Provides(QL_ATTR_DEVICE_MATRIX)
            .Points<&E::m_flatbedMatrix>()
            .Writes<&E::SetDeviceMatrix>()
            .Numbers(9),
        R::Provides(QL_ATTR_TMA_MATRIX).Points<&E::m_tmaMatrix>().Copies<&E::m_tmaMatrix>(),
        R::Provides(QL_ATTR_SRGB_OUTPUT).Reads<&E::SrgbOutput>(),
        R::Provides(QL_ATTR_ENGINE_FLAG_28).Reads<&E::EngineFlag28>(),
        R::Provides(QL_ATTR_DEFAULT_WORD).Reads<&E::LidColor>(),
        R::Provides(QL_ATTR_NEG_CURVE_0, QL_ATTR_NEG_CURVE_8).Reads<&E::NegCurve>(),
        R::Provides(QL_ATTR_NEG_TENTH).Reads<&E::NegTenth>(),
        R::Provides(QL_ATTR_DENSITY_MATRIX)
            .Points<&E::m_densityMatrix>()
            .Copies<&E::m_densityMatrix>(),
        R::Provides(QL_ATTR_POST_MATRIX).Points<&E::m_postMatrix>().Copies<&E::m_postMatrix>(),
        // Eighteen ids in one run: the curves of slides, and a second copy of them.
        R::Provides(QL_ATTR_SLIDE_CURVE_0, QL_ATTR_SLIDE_B_CURVE_8).Reads<&E::SlideCurve>(),
        R::Provides(QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_GAMMA_B).Reads<&E::ToneGamma>(),
        R::Provides(QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_BLACK_B).Reads<&E::ToneBlack>(),
        R::Provides(QL_ATTR_TONE_GAIN_R, QL_ATTR_TONE_GAIN_B).Reads<&E::ToneGain>(),
        R::Provides(QL_ATTR_GRAY_TONE_BLACK, QL_ATTR_GRAY_TONE_GAMMA).Reads<&E::GrayTone>(),
        R::Provides(QL_ATTR_GRAY_WEIGHTS).Reads<&E::GrayWeights>(),
        R::Provides(QL_ATTR_ENGINE_RESERVED_316),
        R::Provides(QL_ATTR_HOLD_OUTPUT),
        R::Provides(QL_ATTR_ENGINE_RESERVED_365),
        R::Provides(QL_ATTR_ENGINE_RESERVED_377),
        R::Provides(QL_ATTR_ENGINE_RESERVED_379),
        R::Provides(QL_ATTR_ADF_EVENT_ENABLE),
        R::Provides(QL_ATTR_ENGINE_RESERVED_153),
    };
    return rows;
}

std::span<const QLAttribRow> CQLEngine::HeardRows() {
    using E = CQLEngine;
    using R = QLRowsOf<E>;
    static constexpr QLAttribRow rows[] = {
        R::Listens(QL_ATTR_ENGINE_EVENT_351),
        R::Listens(QL_ATTR_ENGINE_EVENT_352),
        R::Listens(QL_ATTR_ENGINE_EVENT_354),
        R::Listens(QL_ATTR_TAP_HEADER).Calls<&E::OnHeader>(),
        R::Listens(QL_ATTR_TAP_BAND).Calls<&E::OnBand>(),
        R::Listens(QL_ATTR_END_OF_IMAGE).Calls<&E::OnEndOfImage>(),
    };
    return rows;
}

std::int32_t CQLEngine::SourceBits() const {
    return kSourceBits;
}

std::int32_t CQLEngine::LidColor() const {
    return m_useFeeder ? m_defaults.m_adfLidColor : m_defaults.m_lidColor;
}

double CQLEngine::GrayTone(std::int32_t index) const {
    // In the order of their ids: black, gain, gamma.
    const double values[] = {m_grayCoeffs.m_offset, m_grayCoeffs.m_gain, m_grayCoeffs.m_gamma};
    return values[index];
}

double CQLEngine::NegCurve(std::int32_t index) const {
    return CurveCoefficient(m_negCoeffs, index);
}

// Two records whose ids follow one another, nine each.
double CQLEngine::SlideCurve(std::int32_t index) const {
    return CurveCoefficient(index < 9 ? m_slideCoeffs : m_slideCoeffsB, index % 9);
}

// Of the sources for paper. Slides and negatives have records and ids of their own.
const CoeffRecord& CQLEngine::SelectedCoeffs() const {
    return m_useFeeder ? m_feederCoeffs : m_flatbedCoeffs;
}

// The flatbed's and the feeder's numbers stand under the same ids: stages that keep what they read
// are told when the other ones hold.
void CQLEngine::SetUseFeeder(bool useFeeder) {
    if (useFeeder == m_useFeeder)
        return;
    m_useFeeder = useFeeder;
    // Another coefficient record is selected now.
    for (const std::int32_t first :
         {QL_ATTR_TONE_GAMMA_R, QL_ATTR_TONE_BLACK_R, QL_ATTR_TONE_GAIN_R}) {
        for (std::int32_t id = first; id < first + 3; ++id)
            Notify(id);
    }
    Notify(QL_ATTR_DEFAULT_WORD);
}

void CQLEngine::SetDeviceMatrix(const double* nine) {
    if (nine)
        std::copy_n(nine, 9, m_useFeeder ? m_feederMatrix : m_flatbedMatrix);
}
