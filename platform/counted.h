// Objects that answer for interfaces, and live as long as somebody holds them.
//
//     class CThing : public CCounted<Face<IFirst, IID_IFirst>, Face<ISecond, IID_ISecond>> {
#pragma once

#include <atomic>

#include "platform/com.h"

// An interface and its identifier.
template <class Interface, const IID& iid>
struct Face {
    using Type = Interface;
    static constexpr const IID& kIid = iid;
};

// Answers queries. The first face is also the one that stands for IUnknown.
template <class First, class... Others>
class CFaces : public First::Type, public Others::Type... {
  public:
    HRESULT QueryInterface(REFIID asked, void** object) override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        if (asked == IID_IUnknown || asked == First::kIid)
            *object = static_cast<typename First::Type*>(this);
        else
            (TakeIf<Others>(asked, object), ...);
        if (!*object)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override = 0;
    ULONG Release() override = 0;

  protected:
    ~CFaces() = default;

  private:
    template <class Other>
    void TakeIf(REFIID asked, void** object) {
        if (asked == Other::kIid)
            *object = static_cast<typename Other::Type*>(this);
    }
};

// Begins with one reference, its maker's, and is gone with the last.
template <class... Faces>
class CCounted : public CFaces<Faces...> {
  public:
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

  protected:
    virtual ~CCounted() = default;

  private:
    std::atomic<ULONG> m_references = 1;
};
