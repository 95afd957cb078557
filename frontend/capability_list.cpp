#include "frontend/capability_list.h"

#include <algorithm>
#include <string>

#include "platform/contained.h"

namespace {

constexpr ULONG kEventFlags = WIA_NOTIFICATION_EVENT | WIA_ACTION_EVENT;

TaskArray<OLECHAR> CopyText(LPCOLESTR text) {
    const std::size_t units = text ? std::char_traits<OLECHAR>::length(text) : 0;
    TaskArray<OLECHAR> copy = AllocateTaskArray<OLECHAR>(units + 1);
    if (copy)
        *std::copy_n(text, units, copy.get()) = 0;
    return copy;
}

}  // namespace

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

LONG CCapabilityList::Count() const {
    return static_cast<LONG>(m_combined.empty() ? m_events.size() + m_commands.size()
                                                : m_combined.size());
}

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

void CCapabilityList::Clear() {
    m_combined.clear();
    m_events.clear();
    m_commands.clear();
    m_copies.clear();
}
