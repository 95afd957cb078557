// The driver's class object, which makes its objects, and the count that keeps the module loaded.
//
// An object stands alone, or is a part of an outer object: then a wrapper is the object's own
// identity, which only the outer one knows, and the driver inside it answers everybody else with
// the outer object's.
#pragma once

#include "platform/com.h"

// What uses the module: each driver object, each reference to the class object, and each lock of a
// client. All threads may count.
class CModuleUses {
  public:
    static void Add();
    static void Remove();
    static bool None();
};

// One use, for the life of an object.
class CModuleUse {
  public:
    CModuleUse() { CModuleUses::Add(); }
    ~CModuleUse() { CModuleUses::Remove(); }
    CModuleUse(const CModuleUse&) = delete;
    CModuleUse& operator=(const CModuleUse&) = delete;
};

// Lives as long as the module.
class CMiniDrvFactory final : public IClassFactory {
  public:
    static CMiniDrvFactory& Instance();

    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;
    // CLASS_E_NOAGGREGATION when an outer object asks for another interface than IUnknown: only
    // that one can be the wrapper's own.
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    HRESULT LockServer(BOOL lock) override;
};
