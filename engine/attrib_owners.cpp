#include "engine/attrib_owners.h"

#include <algorithm>
#include <array>

#include "engine/chain.h"
#include "engine/engine.h"
#include "stages/file_source.h"
#include "stages/saturation.h"

namespace {

using Owners = std::array<QLAttribOwner, 40>;

// The rows of the chain's table, and those of the objects around it.
struct OwnerList {
    OwnerList() {
        Add("CQLEngine", CQLEngine::Rows());
        Add("CQLEngine", CQLEngine::HeardRows());
        Add("CChainBase", CChainBase::Rows());
        Add("CChainPump", CChainPump::Rows());
        Add("CChainFull", CChainFull::Rows());
        Add("CFileSourceStage", CFileSourceStage::Rows());
        Add("CSaturationStage", CSaturationStage::Rows());
        for (const CChainStages::Row& row : CChainStages::Table()) {
            if (row.m_attribs && row.m_attribs != &CSaturationStage::Rows)
                Add(row.m_className, row.m_attribs());
        }
        Add("CBandSinkStage", CBandSinkStage::Rows());
    }
    void Add(const char* className, std::span<const QLAttribRow> rows) {
        m_owners[m_count++] = {className, rows};
    }

    Owners m_owners;
    std::size_t m_count = 0;
};

}  // namespace

std::span<const QLAttribOwner> AttribOwners() {
    static const OwnerList list;
    return {list.m_owners.data(), list.m_count};
}

QLAttribHolder FindHolder(std::int32_t id) {
    for (const QLAttribOwner& owner : AttribOwners()) {
        for (const QLAttribRow& row : owner.m_rows) {
            if (row.m_role == QLAttribRole::Provides && row.Holds(id))
                return {&owner, &row};
        }
    }
    return {};
}

bool IsActedUpon(std::int32_t id) {
    return std::ranges::any_of(AttribOwners(), [id](const QLAttribOwner& owner) {
        return std::ranges::any_of(owner.m_rows, [id](const QLAttribRow& row) {
            return row.Holds(id) && (row.m_fired || row.m_act || row.m_put) &&
                   (row.m_role != QLAttribRole::Provides || row.m_fired);
        });
    });
}
