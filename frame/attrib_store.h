// The attribute board: the tree of numbered attributes that every part of the engine shares.
//
// A provider answers for an id; subscribers hear of changes; anybody who holds the board can read
// an id, write it or fire it as a command. The board itself stores no values.
//
// Life of a setting: a writer calls SetValue, the provider's SetAttrib stores the word, and then
// every subscriber's OnAttribNotify runs and reads it back with GetValue. A command is an id fired
// with Notify: first the provider's, then the subscribers' OnAttribNotify run. Fired ids may nest
// to any depth. Subscribers are called newest first. A participant may unsubscribe, or be
// destroyed, while a walk over the subscribers is under way; one that subscribes during a walk is
// not called by that walk.
//
// All calls are made on one thread at a time.
#pragma once

#include <cstdint>
#include <memory>

#include "frame/attrib_ids.h"
#include "frame/rect.h"

class CQLAttribStore;
struct QLAttribNode;

// Holder of the tree: one per engine, owned by it, borrowed by all participants.
struct QLAttribTree {
    QLAttribTree();
    ~QLAttribTree();
    QLAttribTree(const QLAttribTree&) = delete;
    QLAttribTree& operator=(const QLAttribTree&) = delete;

    std::unique_ptr<QLAttribNode> m_root;
};

// Real numbers travel as signed 16.16 in the low 32 bits. x * 65536 + 0.5, truncated towards zero;
// what lies outside -32768 to just under 32768 is held at the ends, not-a-number becomes 0.
std::uint64_t ToFixed(double x);
double FromFixed(std::uint64_t word);

// A signed number in the low 32 bits of the word.
constexpr std::uint64_t IntegerWord(std::int32_t value) {
    return static_cast<std::uint32_t>(value);
}
constexpr std::int32_t WordInteger(std::uint64_t word) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(word));
}

// A pointer in the word. The reader has to name the type that the provider put in.
template <typename T>
std::uint64_t PointerWord(const T* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}
template <typename T>
T* WordPointer(std::uint64_t word) {
    return reinterpret_cast<T*>(static_cast<std::uintptr_t>(word));
}

// Base of everything that takes part: the engine, each stage, and the ports.
class CQLAttribStore {
  public:
    CQLAttribStore() = default;
    explicit CQLAttribStore(QLAttribTree* tree) : m_tree(tree) {}
    CQLAttribStore(const CQLAttribStore&) = delete;
    CQLAttribStore& operator=(const CQLAttribStore&) = delete;

    // What a provider and a subscriber override.
    virtual std::uint64_t GetAttrib(std::int32_t id);
    virtual void SetAttrib(std::int32_t id, std::uint64_t value);
    virtual void OnAttribNotify(std::int32_t id);

    // Joins a tree. Null detaches; what is registered or subscribed is given up before.
    void AttachTree(QLAttribTree* tree);
    QLAttribTree* Tree() const { return m_tree; }

    // Becomes the provider of an id, in place of an earlier one; subscribers of the id are told.
    void RegisterProvider(std::int32_t id);
    // Leaves the id without provider, whoever it was.
    void UnregisterProvider(std::int32_t id);

    // A client that subscribes twice is called twice.
    void Subscribe(std::int32_t id);
    // Subscribe, and take over a value that exists already: this object's own OnAttribNotify(id)
    // runs when the id has a provider that is not this object.
    void SubscribeAndSync(std::int32_t id);
    // Takes all subscriptions of this object to the id back.
    void Unsubscribe(std::int32_t id);

    void Notify(std::int32_t id);
    // False for an id that nobody ever named. True without effect when it has no provider.
    bool SetValue(std::int32_t id, std::uint64_t value);
    bool SetFixed(std::int32_t id, double x);
    // 0 without provider, and `out` stays untouched then.
    std::uint64_t GetValue(std::int32_t id, std::uint64_t* out = nullptr);
    double GetFixed(std::int32_t id);
    std::int32_t GetInteger(std::int32_t id) { return WordInteger(GetValue(id)); }
    // Copies when the attribute is not null; the result is `rect` (`out`) in any case.
    QLRect* GetRect(std::int32_t id, QLRect* rect);
    double* GetMatrix18(std::int32_t id, double* out);

  protected:
    ~CQLAttribStore();

  private:
    void LeaveTree();

    QLAttribTree* m_tree = nullptr;
};
