// The analyser of reflective originals. It takes brightness and contrast from the attribute board,
// and has a table for gray lines, which carries no colour.
#pragma once

#include <span>

#include "analysis/level_analyser.h"
#include "frame/attrib_rows.h"

class CPhotoToneAnalyser final : public CLevelToneAnalyser {
  public:
    explicit CPhotoToneAnalyser(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    bool IsComplete() const override;
    void BuildCurves() override;
    void ResetTone() override;
    const CQLLut* GrayTable() const { return OrNull(m_lutGray); }

    // -127 to 128. They set highlight and shadow, and read what those amount to.
    void SetBrightness(std::int32_t value);
    void SetContrast(std::int32_t value);
    std::int32_t Brightness();
    std::int32_t Contrast();

    std::uint64_t GetAttrib(std::int32_t id) override { return m_rows.Get(id); }
    void SetAttrib(std::int32_t id, std::uint64_t value) override { m_rows.Set(*this, id, value); }
    void OnAttribNotify(std::int32_t id) override { m_rows.OnNotify(*this, id); }

  private:
    // The shadow level of neutral originals.
    std::int32_t NeutralShadow() const;
    // The output's black of the lowest contrast, and the black code of the highest.
    double MostOutBlack() const;
    double MostBlack() const;
    void ApplyPreset(std::int32_t preset);
    void SetFeeder(bool feeder);
    void SetWhiteRef(std::int32_t value);
    void SetBlackRef(std::int32_t value);

    bool m_isFeeder = false;
    std::uint16_t m_whiteRef = 0xcccc;  // the white code of a neutral brightness
    std::uint16_t m_blackRef = 0;       // the black code used on the feeder
    CQLLut m_lutGray;
    CQLAttribRows m_rows;
};
