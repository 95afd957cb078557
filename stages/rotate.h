// Turns an image by 90, 180 or 270 degrees, clockwise.
#pragma once

#include "frame/stage.h"
#include "stages/mapped_temp_file.h"

// No line of a turned image is known before the last one of the image has come. So the stage first
// takes the whole image into a temporary file that stands in memory, and serves its lines from
// there. A read does both, as it needs to; who has the image only piece by piece calls Load for
// each of them and reads when the image is whole.
//
// In the standard chain the stage stands beside the data path (engine/chain.h): it then keeps its
// attributes, and no line comes by.
// Lines of a quarter turn that are made at a time: the pixels of one come from as many cache lines
// as its image has rows, and those of its neighbours lie in the same ones. Those of 32 pixels of 6
// bytes fill three.
inline constexpr std::int32_t QL_TURNED_BAND = 32;

class CRotateStage final : public CQLFilterStage {
  public:
    explicit CRotateStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    // QL_ERR_BAD_ARGUMENT below QL_LEAST_TURNED_SIDE; QL_ERR_TEMP_FILE, QL_ERR_NO_MEMORY: see
    // CMappedTempFile.
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;
    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override;
    // A colour query ends here.
    QLStatus TransformColor(QLColorQuery*) override { return QL_OK; }

    // Between open and close: lines of the image are still to be taken in.
    bool IsLoading() const { return m_turn != 0 && !m_loaded; }
    // Pulls up to `*lines` of them; says how many came. Behind a failure the next call goes on
    // where it was.
    QLStatus Load(std::int32_t* lines);
    // No more lines come. What is missing becomes white.
    void EndLoading();
    std::int32_t LinesLoaded() const { return m_linesIn; }
    std::int32_t LinesToLoad() const { return m_inFormat.m_height; }

  private:
    void TurnAngle(std::int32_t degrees);
    void TurnClockwise() { TurnAngle(90); }
    void TurnBack() { TurnAngle(-90); }
    void TakeDefault();
    template <std::int32_t kAngle>
    void SetAngle() {
        m_angle = kAngle;
    }
    void OnMirrorToggle();
    void OnSource();

    bool IsQuarter() const { return m_turn == 90 || m_turn == 270; }
    QLStatus LoadRest();
    // The next lines, to the front of the buffer; who asks for fewer than QL_TURNED_BAND gets them
    // out of a band that is turned ahead.
    QLStatus Deliver(std::int32_t lines, const CQLLineBuffer& buffer);
    // From line number m_linesOut on.
    void RotateLines(std::uint16_t* target, std::int32_t lines) const;

    // Degrees, clockwise.
    std::int32_t m_angle = 0;
    std::int32_t m_defaultAngle = 0;
    std::int32_t m_pending = 0;  // kept for readers of its attribute
    std::int32_t m_turn = 0;     // of this image: 0, 90, 180 or 270
    bool m_loaded = false;
    std::int32_t m_linesIn = 0;
    std::int32_t m_linesOut = 0;
    std::int32_t m_outHeight = 0;
    CMappedTempFile m_image;  // lines on m_inFormat
    // Lines that are turned ahead: m_aheadCount from number m_aheadFirst on.
    CQLLineBuffer m_ahead{&m_outFormat};
    std::int32_t m_aheadFirst = 0;
    std::int32_t m_aheadCount = 0;
};
