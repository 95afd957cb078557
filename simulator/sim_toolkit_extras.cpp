// The toolkit's operations for what a device has beside its sources.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/text.h"
#include "simulator/model_store.h"
#include "simulator/sim_toolkit.h"

namespace {

std::u16string_view View(CCall& call, LPCOLESTR text) {
    call.NeedPointer(text);
    return text;
}

// ---- Nvram

// An item is there if the record's flag says so.
struct CNvramRow {
    DWORD item;
    DWORD flag;
    std::uint64_t CDeviceState::*value;
};
constexpr CNvramRow kNvram[] = {
    {OSTREL_NVRAM_SCAN_COUNT, OSTREL_NVRAM_HAS_SCAN_COUNT, &CDeviceState::nvramScanCount},
    {OSTREL_NVRAM_FIRST_USE, OSTREL_NVRAM_HAS_FIRST_USE, &CDeviceState::nvramFirstUse},
};

std::uint64_t& NvramItem(CCall& call, DWORD item) {
    for (const CNvramRow& row : kNvram) {
        if (row.item == item && (call.Numbers().m_nvram.items & row.flag) != 0)
            return call.State().*row.value;
    }
    throw CSimFailure(OSTREL_INVALID_PARAMETER, "there is no item " + std::to_string(item));
}

// ---- Properties

// A property that the settings don't name is one that this device lacks.
DWORD LongProperty(CCall& call, std::u16string_view name) {
    const CNumbers& numbers = call.Numbers();
    if (name == u"CurrentLampOn" && numbers.m_hasCurrentLampOn != 0)
        return static_cast<DWORD>(BurningLamp(call.State(), call.Now()));
    if (name == u"ADF" && numbers.m_hasAdfProperty != 0)
        return numbers.m_adf2.hasADF != 0 ? 1 : 0;
    if (name == u"XPA" && numbers.m_hasXpaProperty != 0)
        return numbers.m_xpa.hasXPA != 0 ? 1 : 0;
    throw CSimFailure(OSTREL_INVALID_HW_PROPERTY);
}

// ---- Job gate

// Questions about a closed gate are mistakes, as on a device that has one.
void NeedGate(CCall& call) {
    if (call.Session().m_gateState == 0)
        throw CSimFailure(OSTREL_INVALID_PARAMETER, "the gate is closed");
}

}  // namespace

HRESULT CSimToolkit::GetNvramInfo(DWORD session, OstrelNvramInfo* info, DWORD* error) {
    return Give(EOperation::GetNvramInfo, session, &CNumbers::m_nvram, info, error);
}

HRESULT CSimToolkit::ReadNvram(DWORD session, DWORD item, DWORD* value, DWORD* error) {
    return Run(EOperation::ReadNvram, session, error, [&](CCall& call) {
        call.NeedPointer(value);
        *value = static_cast<DWORD>(NvramItem(call, item));
    });
}

HRESULT CSimToolkit::WriteNvram(DWORD session, DWORD item, DWORD value, DWORD* error) {
    return Run(EOperation::WriteNvram, session, error,
               [&](CCall& call) { NvramItem(call, item) = value; });
}

HRESULT CSimToolkit::GetPanelCapabilities(DWORD session, OstrelPanelCaps* caps, DWORD* error) {
    return Give(EOperation::GetPanelCapabilities, session, &CNumbers::m_panel, caps, error);
}

HRESULT CSimToolkit::SetPanelText(DWORD session, DWORD line, LPCOLESTR text, DWORD bytes,
                                  DWORD* error) {
    return Run(EOperation::SetPanelText, session, error, [&](CCall& call) {
        // No panel shows more.
        constexpr DWORD kMostBytes = 1024;
        call.NeedPointer(text);
        if ((call.Numbers().m_panel.flags & 1) == 0)
            throw CSimFailure(OSTREL_NOT_IMPLEMENTED);
        if (line != 1 || bytes < sizeof(OLECHAR) || bytes > kMostBytes ||
            bytes % sizeof(OLECHAR) != 0 || text[bytes / sizeof(OLECHAR) - 1] != 0)
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "the text doesn't end where it should");
        call.State().panelText = TextFromWide(text);
    });
}

HRESULT CSimToolkit::GetStringProperty(DWORD session, LPCOLESTR name, LPOLESTR* text,
                                       DWORD* error) {
    return Run(EOperation::GetStringProperty, session, error, [&](CCall& call) {
        call.NeedPointer(text);
        const std::string& firmware = call.Settings().m_firmware;
        if (View(call, name) != u"Firmware Version" || firmware.empty())
            throw CSimFailure(OSTREL_INVALID_HW_PROPERTY);
        const std::u16string wide = WideFromText(firmware);
        const std::size_t bytes = (wide.size() + 1) * sizeof(OLECHAR);
        *text = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
        if (!*text)
            throw std::bad_alloc();
        std::memcpy(*text, wide.c_str(), bytes);
    });
}

HRESULT CSimToolkit::GetLongProperty(DWORD session, LPCOLESTR name, DWORD* value, DWORD* error) {
    return Run(EOperation::GetLongProperty, session, error, [&](CCall& call) {
        call.NeedPointer(value);
        *value = LongProperty(call, View(call, name));
    });
}

HRESULT CSimToolkit::BeginJobGate(DWORD session, DWORD, DWORD* error) {
    return Run(EOperation::BeginJobGate, session, error, [](CCall& call) {
        if (call.Session().m_gateState != 0)
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "the gate is open");
        call.Session().m_gateState = 1;
    });
}

HRESULT CSimToolkit::EndJobGate(DWORD session, DWORD* error) {
    return Run(EOperation::EndJobGate, session, error, [](CCall& call) {
        NeedGate(call);
        call.Session().m_gateState = 0;
    });
}

HRESULT CSimToolkit::GetJobGateState(DWORD session, DWORD* state, DWORD* error) {
    return Run(EOperation::GetJobGateState, session, error, [&](CCall& call) {
        call.NeedPointer(state);
        NeedGate(call);
        *state = call.Numbers().m_jobGateState;
    });
}

// Aborting leaves the gate to be ended: the driver does both.
HRESULT CSimToolkit::AbortJobGate(DWORD session, DWORD, DWORD* error) {
    return Run(EOperation::AbortJobGate, session, error, [](CCall& call) { NeedGate(call); });
}

// ---- The profile in the device

HRESULT CSimToolkit::GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) {
    return Run(EOperation::GetProfileSize, session, error, [&](CCall& call) {
        call.NeedPointer(bytes);
        *bytes = static_cast<DWORD>(LoadDeviceProfile(call.Settings()).size());
    });
}

// The text without a zero behind it, as many bytes as were told.
HRESULT CSimToolkit::ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) {
    return Run(EOperation::ReadProfile, session, error, [&](CCall& call) {
        call.NeedPointer(buffer);
        const std::string profile = LoadDeviceProfile(call.Settings());
        if (profile.empty())
            throw CSimFailure(OSTREL_NO_FIRMWARE_PROFILE);
        if (bytes > profile.size())
            throw CSimFailure(OSTREL_INVALID_PARAMETER,
                              "the profile has " + std::to_string(profile.size()) + " bytes");
        std::memcpy(buffer, profile.data(), bytes);
    });
}

HRESULT CSimToolkit::GetResolutionTable(DWORD session, DWORD source, OstrelResolutionTable* table,
                                        DWORD* error) {
    return Run(EOperation::GetResolutionTable, session, error, [&](CCall& call) {
        call.NeedPointer(table);
        if (source >= kSources)
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "there is no such source");
        *table = call.Settings().m_resolutions[source];
    });
}

// ---- Buttons

HRESULT CSimToolkit::GetButtonDataSize(DWORD session, DWORD* bytes, DWORD* error) {
    return Run(EOperation::GetButtonDataSize, session, error, [&](CCall& call) {
        call.NeedPointer(bytes);
        *bytes = call.Numbers().m_buttons;
    });
}

// Presses that don't fit wait for the next read.
HRESULT CSimToolkit::ReadButtons(DWORD session, DWORD bytes, BYTE* buffer, DWORD* error) {
    return Run(EOperation::ReadButtons, session, error, [&](CCall& call) {
        call.NeedPointer(buffer);
        std::uint64_t& pending = call.State().buttonsPending;
        for (DWORD i = 0; i < std::min<DWORD>(bytes, call.Numbers().m_buttons); ++i) {
            const std::uint64_t bit = std::uint64_t{1} << i;
            buffer[i] = (pending & bit) != 0 ? 1 : 0;
            pending &= ~bit;
        }
    });
}

HRESULT CSimToolkit::EndButtonRead(DWORD session, DWORD* error) {
    return Run(EOperation::EndButtonRead, session, error, [](CCall&) {});
}

// ---- The task that may wait

HRESULT CSimToolkit::GetPendingState(DWORD session, DWORD* state, DWORD* error) {
    return Run(EOperation::GetPendingState, session, error, [&](CCall& call) {
        call.NeedPointer(state);
        *state = static_cast<DWORD>(call.State().pendingTask);
    });
}

// A task is done at once; that it ran is counted.
HRESULT CSimToolkit::RunPendingTask(DWORD session, DWORD* error) {
    return Run(EOperation::RunPendingTask, session, error, [](CCall& call) {
        call.State().pendingTask = 0;
        ++call.State().tasksRun;
    });
}
