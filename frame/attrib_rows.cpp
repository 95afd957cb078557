#include "frame/attrib_rows.h"

#include <algorithm>
#include <cassert>

namespace {

// A run goes id by id, upwards. A row that only answers stays off the board: the id belongs to
// another participant there, and this one answers when it is asked directly.
void RegisterRow(CQLAttribStore& store, const QLAttribRow& row) {
    for (std::int32_t id = row.m_first; id <= row.m_last; ++id) {
        switch (row.m_role) {
            case QLAttribRole::Provides:
                store.RegisterProvider(id);
                break;
            case QLAttribRole::Listens:
                store.Subscribe(id);
                break;
            case QLAttribRole::Follows:
                store.SubscribeAndSync(id);
                break;
            case QLAttribRole::Answers:
                break;
        }
    }
}

// The word as the row lets it pass. Ranges are doubles, which hold every 32-bit integer exactly.
std::uint64_t Admit(const QLAttribRow& row, std::uint64_t word) {
    if (row.m_lowByte)
        word &= 0xFF;
    if (row.m_clamps) {
        const double held =
            std::clamp(static_cast<double>(WordInteger(word)), row.m_low, row.m_high);
        word = IntegerWord(TruncToI32(held));
    }
    return word;
}

// Takes a word, and does what a change does.
void Take(CQLAttribStore& store, const QLAttribRow& row, void* owner, std::int32_t id,
          std::uint64_t word) {
    // A row that keeps nothing has no old value to compare: each announcement counts as a change.
    const bool changed = !row.m_put || row.m_put(owner, id - row.m_first, Admit(row, word));
    if (!changed && !row.m_always)
        return;
    if (row.m_act)
        row.m_act(owner);
    if (row.m_fires != 0)
        store.Notify(row.m_fires);
}

}  // namespace

void CQLAttribRows::AttachTable(CQLAttribStore& store, const Table& table) {
    // No line of descent is longer; one that is would lose attributes without a word.
    assert(m_count < kMostTables);
    if (m_count == kMostTables)
        return;
    // Known before the first is registered: subscribers of the id read it at once.
    m_tables[m_count++] = table;
    for (const QLAttribRow& row : table.m_rows)
        RegisterRow(store, row);
}

const QLAttribRow* CQLAttribRows::Find(std::int32_t id, void** owner) const {
    // From the last table to the first: the rows of a derived class go before those of its base.
    for (std::size_t t = m_count; t-- > 0;) {
        const Table& table = m_tables[t];
        const auto row = std::find_if(table.m_rows.begin(), table.m_rows.end(),
                                      [id](const QLAttribRow& r) { return r.Holds(id); });
        if (row != table.m_rows.end()) {
            *owner = table.m_owner;
            return &*row;
        }
    }
    return nullptr;
}

std::uint64_t CQLAttribRows::Get(std::int32_t id) const {
    void* owner = nullptr;
    const QLAttribRow* row = Find(id, &owner);
    return row && row->m_get ? row->m_get(owner, id - row->m_first) : 0;
}

void CQLAttribRows::Set(CQLAttribStore& store, std::int32_t id, std::uint64_t value) const {
    void* owner = nullptr;
    const QLAttribRow* row = Find(id, &owner);
    // What has neither a field nor a function for it takes no note of writes.
    if (row && row->m_role == QLAttribRole::Provides && row->m_put)
        Take(store, *row, owner, id, value);
}

void CQLAttribRows::OnNotify(CQLAttribStore& store, std::int32_t id) const {
    void* owner = nullptr;
    const QLAttribRow* row = Find(id, &owner);
    if (!row)
        return;
    // Fired at its provider, an id is a command. To the others it says that there may be another
    // value, which they fetch from whoever provides it now.
    if (row->m_role == QLAttribRole::Provides) {
        if (row->m_fired)
            row->m_fired(owner);
    } else if (row->m_role != QLAttribRole::Answers) {
        Take(store, *row, owner, id, row->m_put ? store.GetValue(id) : 0);
    }
}
