// The analyser of film negatives.
//
// Its tables are characteristic curves of a film: they take a linear code of light and give the
// positive. Exposure is a shift along the density axis, colour a small shift of each channel. A
// black and white film has one curve, which the colour points tone by a gamma per channel.
#pragma once

#include <array>

#include "analysis/tone_analyser.h"
#include "frame/film_curve.h"
#include "frame/pixel_list.h"

// How the kind of film is found.
enum QLSampleMode : std::int32_t {
    QL_SAMPLE_DETECT = 1,  // from the statistics, once
    QL_SAMPLE_COLOR = 2,
    QL_SAMPLE_MONO = 3,
};

class CNegativeToneAnalyser final : public CToneAnalyser {
  public:
    // `filmStep` as in SetFilmStep.
    explicit CNegativeToneAnalyser(double filmStep);

    bool IsComplete() const override;
    void StartCollect() override;
    void BuildCurves() override;

    // The density between two rows of the film tables; 0 for those of the films themselves. The
    // next BuildCurves builds anew when it is another one.
    void SetFilmStep(double step);
    void SetSampleMode(std::int32_t mode);
    bool IsColorFilm();

    // Density that is added to every curve, and to one channel's curve of colour film.
    double ExposureShift() const { return m_exposureShift; }
    void SetExposureShift(double density);
    double ChannelShift(std::int32_t channel) const { return m_channelShift[channel]; }
    void SetChannelShift(std::int32_t channel, double density);

    CBrightestPixelList& BrightestList() { return m_brightest; }
    CDarkestPixelList& DarkestList() { return m_darkest; }

  private:
    using Densities = std::array<double, kChannels>;
    // What a density makes of the statistics.
    struct Measure {
        double m_bottom = 0.0;  // percent that is black, or almost
        double m_top = 0.0;     // percent that is white, or almost
        double m_mean = 0.0;    // 0 to 1
    };
    using MeasureAt = Measure (CNegativeToneAnalyser::*)(double density);
    // A search for a density.
    struct Search {
        MeasureAt m_measureAt;
        double m_density;
        std::int32_t m_steps = 0;  // walked so far, by all its walks
        Measure m_seen{};          // at m_density
    };

    void RunAnalysis(QLAnalysisKind what) override;
    const CQLLut& Table(std::int32_t channel) const override { return m_lut[channel]; }
    void AnalyseFilm();
    void AnalyseExposed();
    void AnalyseColor();
    void AnalyseMono();
    Measure MeasureColor(double density);
    Measure MeasureMono(double density);
    template <typename Wanted>
    void Walk(Search* search, double step, double fallback, const Wanted& wanted);
    void StepTo(Search* search, double density);
    void WalkIntoBand(Search* search);
    void BalanceClipping(Search* search);
    void SearchColor(Densities* offsets, double step);
    double ColorCost(const Densities& offsets);
    void FindBrightDensity();
    void PullToBrightest(Densities* offsets);

    void BuildColorCurves(const Densities& shifts);
    void BuildMonoCurves(const Densities& shifts);
    double MidtoneDensity() const;
    void SetMidtoneDensity(double density);
    void SetLinkedDensity(double density);

    CBrightestPixelList m_brightest;
    CDarkestPixelList m_darkest;
    std::array<CFilmCurveLut, kChannels> m_lut;
    CFilmCurveLut m_lutMono;
    double m_exposureShift = 0.0;
    Densities m_channelShift{};
    // Densities of the brightest pixels, relative to their mean.
    Densities m_brightDensity{};
    bool m_monoFilm = false;
    std::int32_t m_sampleMode = QL_SAMPLE_DETECT;
};
