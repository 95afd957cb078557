#include "frontend/class_factory.h"

#include <atomic>

#include "frontend/mini_driver.h"
#include "platform/contained.h"

namespace {

std::atomic<LONG> g_uses = 0;

// The interfaces that are asked for, beside IUnknown; each by its own pointer.
constexpr struct {
    IID iid;
    IUnknown* (*face)(CNVwiaMiniDrv&);
} kFaces[] = {
    {IID_IMiniDrv,
     [](CNVwiaMiniDrv& driver) -> IUnknown* { return static_cast<IMiniDrv*>(&driver); }},
    {IID_IStiUSD,
     [](CNVwiaMiniDrv& driver) -> IUnknown* { return static_cast<IStiUSD*>(&driver); }},
    {IID_IWiaMiniDrv,
     [](CNVwiaMiniDrv& driver) -> IUnknown* { return static_cast<IWiaMiniDrv*>(&driver); }},
};

// Null for an interface that the driver doesn't have.
IUnknown* FindFace(CNVwiaMiniDrv& driver, REFIID iid) {
    for (const auto& row : kFaces) {
        if (row.iid == iid)
            return row.face(driver);
    }
    return nullptr;
}

HRESULT Give(IUnknown* face, void** object) {
    *object = face;
    if (!face)
        return E_NOINTERFACE;
    face->AddRef();
    return S_OK;
}

// The use of the module is the last that goes with an object.
class CPlainDriver final : private CModuleUse, public CNVwiaMiniDrv {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        return Give(iid == IID_IUnknown ? static_cast<IMiniDrv*>(this) : FindFace(*this, iid),
                    object);
    }
    ULONG AddRef() override { return InternalAddRef(); }
    ULONG Release() override {
        const ULONG left = InternalRelease();
        if (left == 0) {
            InternalAddRef();  // for what counts it while it goes
            delete this;
        }
        return left;
    }
};

class CInnerDriver final : public CNVwiaMiniDrv {
  public:
    explicit CInnerDriver(IUnknown* outer) : m_outer(outer) {}

    HRESULT QueryInterface(REFIID iid, void** object) override {
        return m_outer->QueryInterface(iid, object);
    }
    ULONG AddRef() override { return m_outer->AddRef(); }
    ULONG Release() override { return m_outer->Release(); }

  private:
    IUnknown* const m_outer;  // not counted: it holds the wrapper
};

class CDriverWrapper final : private CModuleUse, public IUnknown, public CObjectRoot {
  public:
    explicit CDriverWrapper(IUnknown* outer) : m_driver(outer) {}

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        return Give(iid == IID_IUnknown ? this : FindFace(m_driver, iid), object);
    }
    ULONG AddRef() override { return InternalAddRef(); }
    ULONG Release() override {
        const ULONG left = InternalRelease();
        if (left == 0) {
            InternalAddRef();
            delete this;
        }
        return left;
    }

  private:
    ~CDriverWrapper() = default;

    CInnerDriver m_driver;
};

// An object that lacks the interface is gone again.
template <class Object, class... Arguments>
HRESULT Make(REFIID iid, void** object, Arguments... arguments) {
    return Contained([&] {
        auto* made = new Object(arguments...);
        made->AddRef();
        const HRESULT hr = made->QueryInterface(iid, object);
        made->Release();
        return hr;
    });
}

// With the driver's own settings of the log, also when this is the process's first message.
void Report(const char* message) {
    const CLogHold hold(CLSID_MiniDrv);
    CLog().Write(kLogError, message);
}

}  // namespace

void CModuleUses::Add() {
    ++g_uses;
}

void CModuleUses::Remove() {
    --g_uses;
}

bool CModuleUses::None() {
    return g_uses == 0;
}

CMiniDrvFactory& CMiniDrvFactory::Instance() {
    static CMiniDrvFactory factory;
    return factory;
}

HRESULT CMiniDrvFactory::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    return Give(iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr, object);
}

ULONG CMiniDrvFactory::AddRef() {
    CModuleUses::Add();
    return 2;
}

ULONG CMiniDrvFactory::Release() {
    CModuleUses::Remove();
    return 1;
}

HRESULT CMiniDrvFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (!outer)
        return Make<CPlainDriver>(iid, object);
    if (iid != IID_IUnknown) {
        Report(
            "CComClassFactory: asked for non IUnknown interface while creating an aggregated "
            "object");
        return CLASS_E_NOAGGREGATION;
    }
    return Make<CDriverWrapper>(iid, object, outer);
}

HRESULT CMiniDrvFactory::LockServer(BOOL lock) {
    if (lock)
        CModuleUses::Add();
    else
        CModuleUses::Remove();
    return S_OK;
}
