// What the service gives to a driver and both count: an object with one interface.
#pragma once

#include <atomic>

#include "platform/com.h"

// Begins with one reference, its maker's, and is gone with the last.
template <class Interface, const IID& iid>
class CCounted : public Interface {
  public:
    HRESULT QueryInterface(REFIID asked, void** object) override {
        if (!object)
            return E_POINTER;
        *object = asked == IID_IUnknown || asked == iid ? this : nullptr;
        if (!*object)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_refs; }
    ULONG Release() override {
        const ULONG left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

  protected:
    virtual ~CCounted() = default;

  private:
    std::atomic<ULONG> m_refs{1};
};
