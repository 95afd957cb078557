// Who on the board of an engine holds which attributes, and who hears of which: the rows of all
// that take part, for people who list and write attributes and for tests.
#pragma once

#include <cstdint>
#include <span>

#include "frame/attrib_rows.h"

struct QLAttribOwner {
    const char* m_className;
    std::span<const QLAttribRow> m_rows;
};

// The engine, the parts of the chain, every class of stages that exists, the analyser that sits on
// the board beside its stage, and what clients bring. A class that derives from another one stands
// behind it, with its own rows only.
std::span<const QLAttribOwner> AttribOwners();

// Who answers for an id. Both are null where no class provides it.
struct QLAttribHolder {
    const QLAttribOwner* m_owner = nullptr;
    const QLAttribRow* m_row = nullptr;

    // True when a write reaches something.
    bool TakesWrites() const { return m_row && m_row->m_put; }
};
QLAttribHolder FindHolder(std::int32_t id);

// The row of somebody who takes over the value of an id that no class provides: a client may bring
// it. Null for all others.
const QLAttribRow* FindTakerOfClients(std::int32_t id);

// True when somebody does something when the id is fired.
bool IsActedUpon(std::int32_t id);
