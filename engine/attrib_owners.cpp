#include "engine/attrib_owners.h"

#include <algorithm>
#include <vector>

#include "analysis/photo_analyser.h"
#include "engine/chain.h"
#include "engine/engine.h"
#include "engine/streak_provider.h"
#include "stages/file_source.h"
#include "stages/palette_dither.h"
#include "stages/saturation.h"

namespace {

// The rows of the chain's table, and those of the objects around it.
struct OwnerList {
    OwnerList() {
        // Where several provide an id, the first of this list is the one that people are told of.
        Add("CQLEngine", CQLEngine::Rows());
        Add("CQLEngine", CQLEngine::HeardRows());
        Add("CChainBase", CChainBase::HeardRows());
        Add("CChainBase", CChainBase::Rows());
        Add("CChainPump", CChainPump::Rows());
        Add("CChainFull", CChainFull::Rows());
        Add("CFileSourceStage", CFileSourceStage::Rows());
        // Base of two other stages: it stands ahead of them, and once.
        Add("CSaturationStage", CSaturationStage::Rows());
        // Base of the stage that stands in the chain.
        Add("CPaletteDitherStage", CPaletteDitherStage::Rows());
        for (const CChainStages::Row& row : CChainStages::Table()) {
            if (row.m_attribs && row.m_attribs != &CSaturationStage::Rows)
                Add(row.m_className, row.m_attribs());
        }
        // The tone stage of reflective originals owns it.
        Add("CPhotoToneAnalyser", CPhotoToneAnalyser::Rows());
        Add("CBandSinkStage", CBandSinkStage::Rows());
        // The client's, whom the engine makes on request.
        Add("CStreakProvider", CStreakProvider::Rows());
    }
    void Add(const char* className, std::span<const QLAttribRow> rows) {
        m_owners.push_back({className, rows});
    }

    std::vector<QLAttribOwner> m_owners;
};

}  // namespace

std::span<const QLAttribOwner> AttribOwners() {
    static const OwnerList list;
    return list.m_owners;
}

// Several classes may provide an id, each in its own variant of the chain; their rows say the same.
QLAttribHolder FindHolder(std::int32_t id) {
    for (const QLAttribOwner& owner : AttribOwners()) {
        for (const QLAttribRow& row : owner.m_rows) {
            if (row.m_role == QLAttribRole::Provides && row.Holds(id))
                return {&owner, &row};
        }
    }
    return {};
}

const QLAttribRow* FindTakerOfClients(std::int32_t id) {
    const QLAttribRow* taker = nullptr;
    for (const QLAttribOwner& owner : AttribOwners()) {
        for (const QLAttribRow& row : owner.m_rows) {
            if (!row.Holds(id))
                continue;
            if (row.m_role == QLAttribRole::Provides)
                return nullptr;
            if (row.m_put && !taker)
                taker = &row;
        }
    }
    return taker;
}

bool IsActedUpon(std::int32_t id) {
    return std::ranges::any_of(AttribOwners(), [id](const QLAttribOwner& owner) {
        return std::ranges::any_of(owner.m_rows, [id](const QLAttribRow& row) {
            // Written, an id acts through its provider's put; fired, only through what the provider
            // does on fire, or through those who hear of it.
            return row.Holds(id) && (row.m_fired || row.m_act || row.m_put) &&
                   (row.m_role != QLAttribRole::Provides || row.m_fired);
        });
    });
}
