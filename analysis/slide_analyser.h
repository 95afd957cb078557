// The analyser of slides. The white side and the midtone are not in its tables: the stage applies
// them in density space, by WhitePoint and the midtone level. The tables carry the colour of the
// midtones and the black side; with the expose flag they are those of the level analyser.
#pragma once

#include "analysis/level_analyser.h"

class CSlideToneAnalyser final : public CLevelToneAnalyser {
  public:
    explicit CSlideToneAnalyser(QLAttribTree* tree);

    void BuildCurves() override;

  private:
    void StartExposed() override;
    void SearchColor(QLColorPoint* point, double step) override;
    void SearchExposedMidtone(double* level, double step) override;
};
