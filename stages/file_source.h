// The head of every chain: reads a bitmap row by row and describes it to the stages behind.
#pragma once

#include <memory>

#include "frame/stage.h"
#include "stages/bmp_reader.h"

// Reads the engine's input stream when there is one. Otherwise it works as a bench source: the file
// that the user's registry names under "Software\Norvane\Varnook", when "ScanFromFile" is set
// there. All that the chain learns of the image comes from the bitmap's headers.
//
// Lives for one image. The format stands when the constructor is through.
class CFileSourceStage final : public CQLSourceStage {
  public:
    // Throws std::runtime_error: with an empty text when there is nothing to read from, with
    // kBadBitmapText when it can't be read.
    explicit CFileSourceStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override;
    QLStatus Close() override;
    QLStatus SetRequestedType(std::uint32_t type) override;

  private:
    bool IsPresent() const { return true; }
    std::int32_t SourceBits() const;
    std::int32_t SharpenStrength(std::int32_t level) const;
    void ChooseReader();
    void TakeFormat();

    std::uint32_t m_requestedType = 0;
    std::unique_ptr<CBmpReader> m_reader;
    std::uint32_t m_linesRead = 0;
    bool m_sourceFlag = false;
    bool m_haveReader = false;
    // What the stage answers for a device of its own kind. The engine holds these ids on the board.
    // Gains and gammas are plain factors, blacks on the 8-bit scale.
    double m_deviceMatrix[9] = {1.499, -0.144, -0.146, -0.051, 1.328, -0.078, 0.013, -0.268, 1.423};
    std::uint32_t m_toneWindows[4] = {};
    double m_grayWeights[3] = {0.3, 0.59, 0.11};
    double m_grayTone[3] = {0.0, 1.0, 1.0};
    double m_toneGamma[3] = {1.0655, 1.1006, 1.0977};
    double m_toneBlack[3] = {2.586, 3.123, 2.498};
    double m_toneGain[3] = {1.0, 1.0, 1.0};
};
