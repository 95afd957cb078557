// The stages of the chain, and the one place that says which stage stands where.
//
// Data runs: source, front, head, the body for variant and output type, output conversion, sink.
// The tables of chain_stages.cpp give the class of each slot, what it does to lines, in which
// variants it lives, and the order in each build. A slot is empty while its stage is not wanted.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "frame/stage.h"

// Which road an image takes, by its source.
enum class QLChainVariant : std::uint8_t { Reflective, Slide, Negative };

// How a stage turns the lines that it gets into those that it delivers.
enum class QLLineShape : std::uint8_t {
    PassesOn,  // looks at lines at most
    InPlace,   // lines of the same size, in the buffer of the pull
    NewLines,  // lines of another size, through a buffer of its own
};

struct CChainStages {
    using Slot = std::unique_ptr<CQLStage> CChainStages::*;

    // Front: works on lines as they come from the source, before any tone.
    std::unique_ptr<CQLStage> m_encodedInput;
    std::unique_ptr<CQLStage> m_lineSharpen;
    std::unique_ptr<CQLStage> m_noiseSmooth;
    std::unique_ptr<CQLStage> m_destreak;
    std::unique_ptr<CQLStage> m_smooth;
    std::unique_ptr<CQLStage> m_channelSharpen;
    // Head, the same in all variants.
    std::unique_ptr<CQLStage> m_sharpenSwitch;
    std::unique_ptr<CQLStage> m_lutSharpen;
    std::unique_ptr<CQLStage> m_mirror;
    std::unique_ptr<CQLStage> m_rotate;
    // Variants.
    std::unique_ptr<CQLStage> m_outputFormat;
    std::unique_ptr<CQLStage> m_deviceMatrix;
    std::unique_ptr<CQLStage> m_toneLevels;
    std::unique_ptr<CQLStage> m_channelCurve;
    std::unique_ptr<CQLStage> m_autoToneNeg;
    std::unique_ptr<CQLStage> m_saturation;
    std::unique_ptr<CQLStage> m_densityColor;
    std::unique_ptr<CQLStage> m_darkNeutral;
    std::unique_ptr<CQLStage> m_autoToneSlide;
    std::unique_ptr<CQLStage> m_tmaMatrix;
    std::unique_ptr<CQLStage> m_encodingCurve;
    std::unique_ptr<CQLStage> m_histogram;
    std::unique_ptr<CQLStage> m_sourceControl;
    std::unique_ptr<CQLStage> m_rangeClip;  // on the way only when asked for
    std::unique_ptr<CQLStage> m_autoTonePhoto;
    std::unique_ptr<CQLStage> m_threshold;
    std::unique_ptr<CQLStage> m_palette;
    std::unique_ptr<CQLStage> m_invert;

    // The class that belongs in a slot.
    struct Row {
        Slot m_slot = nullptr;
        const char* m_className = "";
        std::unique_ptr<CQLStage> (*m_make)(QLAttribTree* tree) = nullptr;
        std::span<const QLAttribRow> (*m_attribs)() = nullptr;  // null: none of its own
        QLLineShape m_shape = QLLineShape::PassesOn;
        // Lines around the one being made that count, itself included.
        std::int32_t m_window = 1;
        bool m_changesFormat = false;  // the pixel type of its lines may be another than it got
        std::int32_t m_leastSide = 1;  // pixels or lines; an open refuses images below
        // A bit for each variant in which the stage lives; entering another one drops it.
        std::uint8_t m_variants = 0;

        bool LivesIn(QLChainVariant variant) const {
            return (m_variants >> static_cast<int>(variant) & 1) != 0;
        }
    };
    static std::span<const Row> Table();

    // Fills the slot when it is empty. True when a stage was made.
    bool Make(Slot slot, QLAttribTree* tree);
    // Drops the stages that only other variants want, and makes those that this one wants and that
    // are missing. True when any was made.
    bool EnterVariant(QLChainVariant variant, QLAttribTree* tree);

    // The class of one of these stages; null for any other.
    const char* ClassNameOf(const CQLStage* stage) const;

    // Slots in the order in which their stages are constructed: registration order depends on it.
    static std::span<const Slot> FrontConstruction();
    static std::span<const Slot> Construction();

    // Slots in data order.
    static std::span<const Slot> Front();
    static std::span<const Slot> Body(QLChainVariant variant, std::int32_t outputType);
};
