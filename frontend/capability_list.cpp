#include "frontend/capability_list.h"

#include <algorithm>
#include <string>

#include "platform/contained.h"

namespace {

// Whoever asks to be told, or has an action of its own, hears of an event; the rest are commands.
constexpr ULONG kEventFlags = WIA_NOTIFICATION_EVENT | WIA_ACTION_EVENT;

// Null without memory; a null text is an empty one.
TaskArray<OLECHAR> CopyText(LPCOLESTR text) {
    const std::size_t units = text ? std::char_traits<OLECHAR>::length(text) : 0;
    TaskArray<OLECHAR> copy = AllocateTaskArray<OLECHAR>(units + 1);
    if (copy)
        *std::copy_n(text, units, copy.get()) = 0;
    return copy;
}

}  // namespace

// A record only points; what it points to goes first, so that no failure leaves it pointing into
// memory that is gone.
HRESULT CCapabilityList::Add(const GUID& guid, LPCOLESTR name, LPCOLESTR description, ULONG flags,
                             LPCOLESTR icon) {
    Copies copies = {AllocateTaskArray<GUID>(1), CopyText(name), CopyText(description),
                     CopyText(icon)};
    if (!copies.guid || !copies.name || !copies.description || !copies.icon)
        return E_OUTOFMEMORY;
    copies.guid[0] = guid;
    const WIA_DEV_CAP_DRV record = {copies.guid.get(), flags, copies.name.get(),
                                    copies.description.get(), copies.icon.get()};
    return Contained([&] {
        std::vector<WIA_DEV_CAP_DRV>& list = flags & kEventFlags ? m_events : m_commands;
        list.reserve(list.size() + 1);
        m_copies.push_back(std::move(copies));
        list.push_back(record);
        return S_OK;
    });
}

// The same whether the combined array stands or not.
LONG CCapabilityList::Count() const {
    return static_cast<LONG>(m_combined.empty() ? m_events.size() + m_commands.size()
                                                : m_combined.size());
}

// Made at the first request, and anew when something was added since.
std::vector<WIA_DEV_CAP_DRV>& CCapabilityList::Combined() {
    if (m_combined.size() != m_events.size() + m_commands.size()) {
        const HRESULT made = Contained([&] {
            std::vector<WIA_DEV_CAP_DRV> combined = m_events;
            combined.insert(combined.end(), m_commands.begin(), m_commands.end());
            m_combined = std::move(combined);
            return S_OK;
        });
        if (FAILED(made))
            m_combined.clear();
    }
    return m_combined;
}

// The arrays before what they point to.
void CCapabilityList::Clear() {
    m_combined.clear();
    m_events.clear();
    m_commands.clear();
    m_copies.clear();
}
