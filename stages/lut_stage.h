// Base of the stages that carry tone corrections: one table read a sample, in place, on the
// internal form. They differ in where their tables come from: most build tables of their own from
// attributes, others borrow those of an analyser. Attribute changes only mark tables stale; they
// are rebuilt at the next open, never on the line path.
#pragma once

#include <array>
#include <memory>
#include <utility>

#include "frame/lut.h"
#include "frame/stage_bases.h"

class CLutStage : public CInPlaceStage {
  public:
    explicit CLutStage(QLAttribTree* tree) : CInPlaceStage(tree) { m_active = true; }

    QLStatus TransformColor(QLColorQuery* query) override;
    // First the stages downstream, from the tail up to here, then this stage's inverse look-up.
    QLStatus MapColorTableBack(QLColorTable* table) override;
    // First this stage, then those downstream.
    QLStatus MapColorTable(QLColorTable* table) override;
    QLStatus Open() override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterClose() override;
    QLStatus OnFormatChanged() override;

  protected:
    enum Channel { kRed, kGreen, kBlue, kGray, kChannels };

    // All samples through the gray table.
    static constexpr std::uint16_t kModeSingle = 1;
    // Colour lines through a table per channel, gray lines through the gray table.
    static constexpr std::uint16_t kModePerChannel = 3;

    // Lines whose table is missing pass. QL_ERR_BAD_ARGUMENT for a mode that is none.
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) override;
    // Makes the first `count` tables of the stage's own that are missing, and lets m_lut point to
    // them. `made` tells whether any was.
    QLStatus NeedTables(int count, bool* made = nullptr);
    QLStatus NeedTable(Channel channel, bool* made = nullptr);
    // True when the first `count` own tables change nothing. Worked out when they are built.
    bool AreNeutral(int count) const;
    // Blends the first `count` own tables from the identity below a window of input values into
    // what they hold above it. Centre and width in 1/256 of the table.
    void Splice(int count, std::int32_t center, std::int32_t width);

    // From OnAfterOpen of a stage that does nothing to lines ahead of its tables: when the next
    // active stage upstream does nothing behind its own, lines take both with one read. Where they
    // can't, or there is no memory for it, each stage does its work by itself.
    void JoinTables();
    // True for stages whose tables are the last that they do to lines.
    virtual bool EndsWithTables() const { return false; }

    // What lines and colours go through, of 65536 entries each; null for what passes. Borrowed:
    // from m_ownLut, or from whoever builds the tables and lives as long as the stage.
    const CQLLut* m_lut[kChannels] = {};
    // The tables of stages that build them.
    std::unique_ptr<CQLLut> m_ownLut[kChannels];
    std::uint16_t m_lutMode = kModeSingle;
    bool m_neutral = false;  // the tables change nothing: lines pass

  private:
    static constexpr std::size_t kMostPlanes = 3;
    // The tables that stand behind the joint ones, and the state that they had: of the stage
    // upstream, then of this one.
    using Origin = std::array<std::pair<const CQLLut*, std::uint32_t>, 2 * kMostPlanes>;

    std::size_t LinePlanes() const { return m_outFormat.IsInternalColor() ? kMostPlanes : 1; }
    // The table that samples of a line go through.
    const CQLLut* LineLut(std::size_t plane) const;
    bool HasLineLuts() const;
    Origin JointOrigin() const;
    void PartTables();
    void BuildJoint();
    void MapJoint(std::uint16_t* samples, std::size_t count);

    // The table that a plane of a colour table goes through; null when there is none.
    const CQLLut* PlaneLut(int plane) const;
    // Puts the first entries of each plane, as many as the table says, through that plane's table.
    template <typename Map>
    void MapPlanes(QLColorTable* table, const Map& map) const;

    bool m_lent = false;                       // the stage downstream sees to these tables
    const CLutStage* m_joined = nullptr;       // the stage upstream that has lent its tables
    std::unique_ptr<std::uint16_t[]> m_joint;  // both tables in one, plane by plane
    Origin m_jointOrigin;
};
