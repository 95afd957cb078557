// The toolkit's operations for lamps, feeder and adapter.
#include <algorithm>

#include "simulator/feeder.h"
#include "simulator/sim_toolkit.h"

namespace {

// The toolkit's code for it, which no operation but the lamp's gives.
constexpr DWORD kAdapterNotPluggedIn = 322;

// Calibration holds for the lamp that burns; one that this session lights is another.
void Light(CCall& call, ELamp lamp) {
    CSession& session = call.Session();
    session.m_lamp = lamp;
    if (LightLamp(call.State(), lamp, call.Now()))
        session.m_calibratedLamp = kNoLamp;
}

// A device may have the facet without the feeder: it can be taken off.
void NeedFeeder(CCall& call) {
    if (call.Numbers().m_adf2.hasADF == 0)
        throw CSimFailure(OSTREL_NOT_FOUND, "no feeder is attached");
}

bool HasDuplex(const CCall& call, const CNumbers& numbers) {
    return (numbers.m_adf2.adfDuplexFlags & 1) != 0 ||
           (call.Settings().Has(kFacetAdf3) && (numbers.m_adf3.adf3DuplexFlags & 1) != 0);
}

// A feeder works in one way, glass or slot, and in duplex besides.
bool IsModeKnown(const CCall& call, DWORD mode) {
    const CNumbers& numbers = call.Numbers();
    const bool sheetThrough = (numbers.m_adf2.adfFlags & OSTREL_ADF_SHEET_THROUGH) != 0;
    if (mode == OSTREL_ADF_MODE_DUPLEX)
        return HasDuplex(call, numbers);
    return mode == (sheetThrough ? OSTREL_ADF_MODE_SHEET_THROUGH : OSTREL_ADF_MODE_GLASS);
}

// Tenths of an inch, so that no part of the length lies behind the paper; 0 when not measured.
DWORD PageLength(const CSettings& settings, const CDeviceState& state) {
    if (settings.m_numbers.m_measuresLength == 0)
        return 0;
    const auto page = OpenSheet(settings, state.sheetAtHead, state.backDue != 0);
    const auto tenths = static_cast<DWORD>(std::int64_t{page->Height()} * 10 / page->YDpi());
    return std::min<DWORD>(tenths, settings.m_numbers.m_adf2.simplexHeight / 30);
}

}  // namespace

// ---- Lamps

// Of the lamp that the session uses: the flatbed's, until it lights the adapter's.
HRESULT CSimToolkit::IsLampOn(DWORD session, BOOL* on, DWORD* error) {
    return Run(EOperation::IsLampOn, session, error, [&](CCall& call) {
        call.NeedPointer(on);
        *on = BurningLamp(call.State(), call.Now()) == call.Session().m_lamp ? TRUE : FALSE;
    });
}

HRESULT CSimToolkit::LampOn(DWORD session, DWORD* error) {
    return Run(EOperation::LampOn, session, error, [](CCall& call) { Light(call, kFlatbedLamp); });
}

HRESULT CSimToolkit::SetLampTimeout(DWORD session, DWORD minutes, DWORD* error) {
    return Run(EOperation::SetLampTimeout, session, error, [&](CCall& call) {
        if (minutes == 0)
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "0 minutes");
        call.State().lampTimeout = minutes;
    });
}

// Stays with the device, also when it is off.
HRESULT CSimToolkit::SetInstantLamp(DWORD session, DWORD state, DWORD* error) {
    return Run(EOperation::SetInstantLamp, session, error, [&](CCall& call) {
        if (state > 1)
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "the state is 0 or 1");
        call.State().instantLamp = state;
    });
}

// ---- Feeder

HRESULT CSimToolkit::GetADFCapabilities(DWORD session, OstrelAdfCaps* caps, DWORD* error) {
    return Give(EOperation::GetADFCapabilities, session, &CNumbers::m_adf, caps, error);
}

HRESULT CSimToolkit::GetADF2Capabilities(DWORD session, OstrelAdf2Caps* caps, DWORD* error) {
    return Give(EOperation::GetADF2Capabilities, session, &CNumbers::m_adf2, caps, error);
}

HRESULT CSimToolkit::GetADF3Capabilities(DWORD session, OstrelAdf3Caps* caps, DWORD* error) {
    return Give(EOperation::GetADF3Capabilities, session, &CNumbers::m_adf3, caps, error);
}

HRESULT CSimToolkit::IsPaperInADF(DWORD session, BOOL* paper, DWORD* error) {
    return Run(EOperation::IsPaperInADF, session, error, [&](CCall& call) {
        call.NeedPointer(paper);
        NeedFeeder(call);
        *paper = IsPaperThere(call.Settings(), call.State()) ? TRUE : FALSE;
        call.Note(*paper ? "yes" : "no");
    });
}

HRESULT CSimToolkit::SetADFMode(DWORD session, DWORD mode, DWORD* error) {
    return Run(EOperation::SetADFMode, session, error, [&](CCall& call) {
        call.Note("mode " + std::to_string(mode));
        NeedFeeder(call);
        if (!IsModeKnown(call, mode))
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "the feeder doesn't work so");
        call.State().feederMode = mode;
    });
}

HRESULT CSimToolkit::EndADF2Job(DWORD session, DWORD* error) {
    return Run(EOperation::EndADF2Job, session, error, [](CCall& call) {
        NeedFeeder(call);
        EndFeederJob(call.State());
    });
}

HRESULT CSimToolkit::ADF2PaperFeed(DWORD session, DWORD* pageLength, DWORD* error) {
    return Run(EOperation::ADF2PaperFeed, session, error, [&](CCall& call) {
        call.NeedPointer(pageLength);
        NeedFeeder(call);
        FeedSheet(call.Settings(), call.State());
        // To measure a sheet its picture is opened, which may take a while.
        call.Away([&, state = call.State()] { *pageLength = PageLength(call.Settings(), state); });
        call.Note("sheet " + std::to_string(call.State().sheetAtHead) + ", length " +
                  std::to_string(*pageLength));
    });
}

HRESULT CSimToolkit::GetDuplexSwitch(DWORD session, BOOL* duplex, DWORD* error) {
    return Run(EOperation::GetDuplexSwitch, session, error, [&](CCall& call) {
        call.NeedPointer(duplex);
        const OstrelAdf3Caps& adf = call.Numbers().m_adf3;
        if (adf.hasDuplexSwitch == 0 || (adf.switchFlags & OSTREL_SWITCH_READABLE) == 0)
            throw CSimFailure(OSTREL_NOT_IMPLEMENTED);
        *duplex = call.State().duplexSwitch != 0 ? TRUE : FALSE;
    });
}

// Jobs don't nest. One that a killed program had open ended when this session took the lock.
HRESULT CSimToolkit::ADFStartJob(DWORD session, DWORD* error) {
    return Run(EOperation::ADFStartJob, session, error, [](CCall& call) {
        NeedFeeder(call);
        if (call.State().jobOpen != 0)
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "a job is open");
        call.State().jobOpen = 1;
    });
}

HRESULT CSimToolkit::ADFEndJob(DWORD session, DWORD* error) {
    return Run(EOperation::ADFEndJob, session, error, [](CCall& call) {
        if (call.State().jobOpen == 0)
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "no job is open");
        call.State().jobOpen = 0;
    });
}

// ---- Adapter

HRESULT CSimToolkit::GetXPACapabilities(DWORD session, OstrelXpaCaps* caps, DWORD* error) {
    return Run(EOperation::GetXPACapabilities, session, error, [&](CCall& call) {
        call.NeedPointer(caps);
        *caps = call.Numbers().m_xpa;
        if (call.State().instantLamp != 0)
            caps->lampWarmUpXPA = 0;
    });
}

HRESULT CSimToolkit::XPALampOn(DWORD session, DWORD* error) {
    return Run(EOperation::XPALampOn, session, error, [](CCall& call) {
        if (call.Numbers().m_xpa.hasXPA == 0)
            throw CSimFailure(kAdapterNotPluggedIn);
        Light(call, kAdapterLamp);
    });
}

// Of the lamps themselves, not of what the session has lit.
HRESULT CSimToolkit::IsXPALampOn(DWORD session, DWORD* state, DWORD* error) {
    return Run(EOperation::IsXPALampOn, session, error, [&](CCall& call) {
        call.NeedPointer(state);
        *state = BurningLamp(call.State(), call.Now()) == kAdapterLamp ? 1 : 0;
    });
}

HRESULT CSimToolkit::GetMediaSummary(DWORD session, OstrelMediaList* list, DWORD* error) {
    return Run(EOperation::GetMediaSummary, session, error, [&](CCall& call) {
        call.NeedPointer(list);
        *list = {};
        list->count = static_cast<WORD>(call.Settings().m_media.size());
    });
}

HRESULT CSimToolkit::GetMediaRecord(DWORD session, WORD index, OstrelMedia* media, DWORD* error) {
    return Run(EOperation::GetMediaRecord, session, error, [&](CCall& call) {
        call.NeedPointer(media);
        if (index >= call.Settings().m_media.size())
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "there is no such medium");
        *media = call.Settings().m_media[index];
    });
}
