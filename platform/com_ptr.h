// A counted reference to an interface.
#pragma once

#include <cstddef>
#include <utility>

#include "platform/com.h"

template <class T>
class ComPtr {
  public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    // Takes a reference of its own.
    explicit ComPtr(T* object) : m_object(object) {
        if (m_object)
            m_object->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.m_object) {}
    ComPtr(ComPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ComPtr() { Reset(); }

    void Reset() {
        if (T* object = std::exchange(m_object, nullptr))
            object->Release();
    }
    // Takes over a reference that the caller holds.
    void Attach(T* object) {
        Reset();
        m_object = object;
    }
    // Gives the reference away.
    T* Detach() { return std::exchange(m_object, nullptr); }

    T* Get() const { return m_object; }
    T* operator->() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }

    // Where an operation puts a reference; what was held before is released.
    T** Out() {
        Reset();
        return &m_object;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }

    // Asks the object behind another pointer for this interface; empty when it has none.
    HRESULT QueryFrom(IUnknown* other, REFIID iid) {
        T* found = nullptr;  // this object's own may be the only reference that keeps `other`
        const HRESULT hr =
            other ? other->QueryInterface(iid, reinterpret_cast<void**>(&found)) : E_POINTER;
        Attach(found);
        return hr;
    }

  private:
    T* m_object = nullptr;
};
