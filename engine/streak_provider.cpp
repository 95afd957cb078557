#include "engine/streak_provider.h"

#include "stages/streak_settings.h"

namespace {

constexpr std::int32_t kRed = 1;
constexpr std::int32_t kGreen = 2;  // the channel that shows a picture's detail best
// Limits of what is rebuilt, on the root scale up to 65535: a pixel that stands out of its
// surroundings by less than a twentieth may be part of a streak, what stands out by more is an edge
// of the picture. In light areas as in dark ones.
constexpr std::int32_t kDiffLimit = 3000;
constexpr std::int32_t kLevelLimit = QL_MOST_STREAK_LIMIT;

}  // namespace

std::span<const QLAttribRow> CStreakProvider::Rows() {
    using P = CStreakProvider;
    using R = QLRowsOf<P>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_DESTREAK_A).Keeps<&P::m_tmaMode>().Range(0, QL_MOST_STREAK_REMOVAL),
        R::Provides(QL_ATTR_DESTREAK_B).Keeps<&P::m_otherMode>().Range(0, QL_MOST_STREAK_REMOVAL),
        R::Provides(QL_ATTR_DESTREAK_C).Keeps<&P::m_sharpenChannel>().Range(0, QL_STREAK_CHANNELS),
        R::Provides(QL_ATTR_DESTREAK_D).Keeps<&P::m_detailChannel>().Range(0, QL_STREAK_CHANNELS),
        R::Provides(QL_ATTR_DESTREAK_E).Keeps<&P::m_diffLimit>().Range(0, QL_MOST_STREAK_LIMIT),
        R::Provides(QL_ATTR_DESTREAK_F).Keeps<&P::m_levelLimit>().Range(0, QL_MOST_STREAK_LIMIT),
    };
    return rows;
}

CStreakProvider::CStreakProvider(QLAttribTree* tree)
    : CQLAttribStore(tree),
      m_sharpenChannel(kGreen),
      m_diffLimit(kDiffLimit),
      m_levelLimit(kLevelLimit) {
    m_rows.Attach(*this, this, Rows());
}

// Red is rebuilt from only while the stage sharpens by it.
void CStreakProvider::Choose(std::int32_t mode, std::int32_t detailChannel) {
    for (const std::int32_t id : {QL_ATTR_DESTREAK_A, QL_ATTR_DESTREAK_B})
        SetValue(id, IntegerWord(mode));
    SetValue(QL_ATTR_DESTREAK_C, IntegerWord(detailChannel == kRed ? kRed : kGreen));
    SetValue(QL_ATTR_DESTREAK_D, IntegerWord(detailChannel));
}
