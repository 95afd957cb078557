// The commands and events of a device, as the imaging service asks for them.
#pragma once

#include <vector>

#include "frontend/task_memory.h"
#include "platform/wia.h"

class CCapabilityList {
  public:
    // An event when one of the flags for notification and action is set, else a command. All is
    // copied. E_OUTOFMEMORY.
    HRESULT Add(const GUID& guid, LPCOLESTR name, LPCOLESTR description, ULONG flags,
                LPCOLESTR icon);
    // Events and commands together.
    LONG Count() const;
    // The arrays stay the list's, and end with the next Add.
    std::vector<WIA_DEV_CAP_DRV>& Commands() { return m_commands; }
    std::vector<WIA_DEV_CAP_DRV>& Events() { return m_events; }
    // Events first. Empty without memory.
    std::vector<WIA_DEV_CAP_DRV>& Combined();
    void Clear();

  private:
    struct Copies {
        TaskArray<GUID> guid;
        TaskArray<OLECHAR> name;
        TaskArray<OLECHAR> description;
        TaskArray<OLECHAR> icon;
    };

    std::vector<Copies> m_copies;  // what the records point to
    std::vector<WIA_DEV_CAP_DRV> m_commands;
    std::vector<WIA_DEV_CAP_DRV> m_events;
    std::vector<WIA_DEV_CAP_DRV> m_combined;
};
