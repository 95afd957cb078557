// Ports: how a class that does not derive from CQLAttribStore sits on the attribute board.
#pragma once

#include "frame/attrib_store.h"

// The whole board behind virtual operations.
class CQLAttribPort : public CQLAttribStore {
  public:
    explicit CQLAttribPort(QLAttribTree* tree) : CQLAttribStore(tree) {}
    virtual ~CQLAttribPort() = default;

    virtual void Notify(std::int32_t id) { CQLAttribStore::Notify(id); }
    virtual void Subscribe(std::int32_t id) { CQLAttribStore::Subscribe(id); }
    virtual void SubscribeAndSync(std::int32_t id) { CQLAttribStore::SubscribeAndSync(id); }
    virtual void Unsubscribe(std::int32_t id) { CQLAttribStore::Unsubscribe(id); }
    virtual void RegisterProvider(std::int32_t id) { CQLAttribStore::RegisterProvider(id); }
    virtual void UnregisterProvider(std::int32_t id) { CQLAttribStore::UnregisterProvider(id); }
    virtual QLRect* GetRect(std::int32_t id, QLRect* rect) {
        return CQLAttribStore::GetRect(id, rect);
    }
    virtual std::uint64_t GetValue(std::int32_t id) {
        return CQLAttribStore::GetValue(id, nullptr);
    }
    virtual double GetFixed(std::int32_t id) { return CQLAttribStore::GetFixed(id); }
    virtual bool SetValue(std::int32_t id, std::uint64_t value) {
        return CQLAttribStore::SetValue(id, value);
    }
};

// Carries the three calls of the board to plain functions, which take the owner first. Without an
// owner or a function a read gives 0, and a write or a notification does nothing.
class CQLAttribCallbackPort final : public CQLAttribPort {
  public:
    using NotifyFunction = void (*)(void* owner, std::int32_t id);
    using GetFunction = std::uint64_t (*)(void* owner, std::int32_t id);
    using SetFunction = void (*)(void* owner, std::int32_t id, std::uint64_t value);

    CQLAttribCallbackPort(QLAttribTree* tree, void* owner, NotifyFunction notify, GetFunction get,
                          SetFunction set)
        : CQLAttribPort(tree), m_owner(owner), m_notify(notify), m_get(get), m_set(set) {}

    std::uint64_t GetAttrib(std::int32_t id) override {
        return m_owner && m_get ? m_get(m_owner, id) : 0;
    }
    void SetAttrib(std::int32_t id, std::uint64_t value) override {
        if (m_owner && m_set)
            m_set(m_owner, id, value);
    }
    void OnAttribNotify(std::int32_t id) override {
        if (m_owner && m_notify)
            m_notify(m_owner, id);
    }

  private:
    void* m_owner;
    NotifyFunction m_notify;
    GetFunction m_get;
    SetFunction m_set;
};

// The same to three member functions of the owner, each of which may be null.
template <typename Owner>
class CQLAttribMemberPort final : public CQLAttribPort {
  public:
    using NotifyMember = void (Owner::*)(std::int32_t id);
    using GetMember = std::uint64_t (Owner::*)(std::int32_t id);
    using SetMember = void (Owner::*)(std::int32_t id, std::uint64_t value);

    CQLAttribMemberPort(QLAttribTree* tree, Owner* owner, NotifyMember notify, GetMember get,
                        SetMember set)
        : CQLAttribPort(tree), m_owner(owner), m_notify(notify), m_get(get), m_set(set) {}

    std::uint64_t GetAttrib(std::int32_t id) override {
        return m_owner && m_get ? (m_owner->*m_get)(id) : 0;
    }
    void SetAttrib(std::int32_t id, std::uint64_t value) override {
        if (m_owner && m_set)
            (m_owner->*m_set)(id, value);
    }
    void OnAttribNotify(std::int32_t id) override {
        if (m_owner && m_notify)
            (m_owner->*m_notify)(id);
    }

  private:
    Owner* m_owner;
    NotifyMember m_notify;
    GetMember m_get;
    SetMember m_set;
};
