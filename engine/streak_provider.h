// Provides the attributes of the removal of streaks. Nobody does in an engine of its own accord:
// the stage only hears of them, and passes lines until a client brings one of these.
#pragma once

#include "frame/attrib_rows.h"
#include "frame/attrib_store.h"

class CStreakProvider final : public CQLAttribStore {
  public:
    explicit CStreakProvider(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    std::uint64_t GetAttrib(std::int32_t id) override { return m_rows.Get(id); }
    void SetAttrib(std::int32_t id, std::uint64_t value) override { m_rows.Set(*this, id, value); }

    // What a person chooses: 0 off, 1 or 2 how strongly; and the channel that two others are
    // rebuilt from, red, green and blue being 1 to 3, or 0 for none.
    void Choose(std::int32_t mode, std::int32_t detailChannel);

  private:
    std::int32_t m_tmaMode = 0;
    std::int32_t m_otherMode = 0;
    std::int32_t m_sharpenChannel;
    std::int32_t m_detailChannel = 0;
    std::int32_t m_diffLimit;
    std::int32_t m_levelLimit;
    CQLAttribRows m_rows;
};
