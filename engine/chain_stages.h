// The stages of the chain, and the one place that says which stage stands where.
//
// Data runs: source, front, head, the rows of the variant for the output type, output conversion,
// sink. The tables of chain_stages.cpp give the class of each slot and the order in each build. A
// slot whose class does not exist yet stays empty, and the data path leads past it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "frame/stage.h"
#include "stages/chain_ends.h"

// Which road an image takes, by its source.
enum class QLChainVariant : std::uint8_t { Reflective, Slide, Negative };

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
    std::unique_ptr<CQLStage> m_rangeClip;  // stands in no chain
    std::unique_ptr<CQLStage> m_autoTonePhoto;
    std::unique_ptr<CQLStage> m_threshold;
    std::unique_ptr<CQLStage> m_palette;
    std::unique_ptr<CQLStage> m_invert;

    // The class that belongs in a slot; null where it does not exist yet.
    struct Maker {
        Slot m_slot;
        const char* m_className;
        std::unique_ptr<CQLStage> (*m_make)(QLAttribTree* tree);
    };
    // Fills the slot when it is empty and its class exists. True when a stage was made.
    bool Make(Slot slot, QLAttribTree* tree);

    // True when the class that belongs in the slot exists.
    static bool HasClass(Slot slot);

    // The class of one of these stages; null for any other.
    const char* ClassNameOf(const CQLStage* stage) const;

    // Slots in the order in which their stages are constructed: registration order depends on it.
    static std::span<const Slot> FrontConstruction();
    static std::span<const Slot> Construction();

    // Slots in data order.
    static std::span<const Slot> Front();
    static std::span<const Slot> Body(QLChainVariant variant, std::int32_t outputType);

    // What entering a variant does to the set of stages.
    struct Change {
        std::span<const Slot> m_drop;
        std::span<const Slot> m_need;
    };
    static Change EnterVariant(QLChainVariant variant);
};
