#include "frame/attrib_store.h"

#include <cstring>

#include "frame/fixed_point.h"
#include "frame/try_new.h"

namespace {

// One subscription. The list owns its entries through m_next.
struct QLAttribObserver {
    CQLAttribStore* m_client = nullptr;
    QLAttribObserver* m_prev = nullptr;
    std::unique_ptr<QLAttribObserver> m_next;
};

}  // namespace

// One id that anybody ever named. Nodes live as long as the tree.
struct QLAttribNode {
    // A walk over the subscribers that is under way; removing an entry moves it on.
    struct Walk {
        explicit Walk(QLAttribNode& node)
            : m_node(node), m_next(node.m_observers.get()), m_outer(node.m_walks) {
            node.m_walks = this;
        }
        ~Walk() { m_node.m_walks = m_outer; }
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;

        // Steps on before the client is called: the client may take itself out of the list.
        CQLAttribStore* Next() {
            if (!m_next)
                return nullptr;
            CQLAttribStore* client = m_next->m_client;
            m_next = m_next->m_next.get();
            return client;
        }

        // Walks of one node nest, when a client that is being told fires the same id again. Each
        // knows the one around it, so that a removal reaches all of them.
        QLAttribNode& m_node;
        QLAttribObserver* m_next;
        Walk* m_outer;
    };

    explicit QLAttribNode(std::int32_t id) : m_id(id) {}
    ~QLAttribNode() {
        // One by one: the chain would else be torn down by recursion, as deep as it is long.
        while (m_observers)
            m_observers = std::move(m_observers->m_next);
    }
    QLAttribNode(const QLAttribNode&) = delete;
    QLAttribNode& operator=(const QLAttribNode&) = delete;

    // At the head: who came last is told first. Without memory for the entry the client hears
    // nothing; the board has no errors of its own.
    void Add(CQLAttribStore* client) {
        auto entry = TryNew<QLAttribObserver>();
        if (!entry)
            return;
        entry->m_client = client;
        entry->m_next = std::move(m_observers);
        if (entry->m_next)
            entry->m_next->m_prev = entry.get();
        m_observers = std::move(entry);
    }

    void Remove(const CQLAttribStore* client) {
        for (QLAttribObserver* entry = m_observers.get(); entry;) {
            QLAttribObserver* next = entry->m_next.get();
            if (entry->m_client == client)
                Unlink(entry);
            entry = next;
        }
    }

    void NotifyObservers() {
        Walk walk(*this);
        while (CQLAttribStore* client = walk.Next())
            client->OnAttribNotify(m_id);
    }

    const std::int32_t m_id;
    std::unique_ptr<QLAttribNode> m_left;   // ids not above this one
    std::unique_ptr<QLAttribNode> m_right;  // ids above this one
    CQLAttribStore* m_provider = nullptr;
    std::unique_ptr<QLAttribObserver> m_observers;

  private:
    void Unlink(QLAttribObserver* entry) {
        for (Walk* walk = m_walks; walk; walk = walk->m_outer) {
            if (walk->m_next == entry)
                walk->m_next = entry->m_next.get();
        }
        if (entry->m_next)
            entry->m_next->m_prev = entry->m_prev;
        std::unique_ptr<QLAttribObserver>& owner =
            entry->m_prev ? entry->m_prev->m_next : m_observers;
        // Takes the rest over before the entry dies with the old value of its owner.
        std::unique_ptr<QLAttribObserver> rest = std::move(entry->m_next);
        owner = std::move(rest);
    }

    Walk* m_walks = nullptr;
};

namespace {

// No balance is kept: a look-up costs at worst as many steps as there are ids, some 250, and
// happens at open and in announcements, never for a line.
QLAttribNode* FindNode(const QLAttribTree* tree, std::int32_t id) {
    QLAttribNode* node = tree ? tree->m_root.get() : nullptr;
    while (node && node->m_id != id)
        node = node->m_id < id ? node->m_right.get() : node->m_left.get();
    return node;
}

// An id that nobody ever named has no node, which is how a write to it can fail.
// The node of an id, made when it is new. Null without a tree or without memory.
QLAttribNode* FindOrAddNode(QLAttribTree* tree, std::int32_t id, bool* added) {
    *added = false;
    if (!tree)
        return nullptr;
    std::unique_ptr<QLAttribNode>* place = &tree->m_root;
    while (*place) {
        QLAttribNode& node = **place;
        if (node.m_id == id)
            return &node;
        place = node.m_id < id ? &node.m_right : &node.m_left;
    }
    *place = TryNew<QLAttribNode>(id);
    *added = true;
    return place->get();
}

// In ascending order of ids.
template <typename Visit>
void ForEachNode(QLAttribNode* node, const Visit& visit) {
    if (!node)
        return;
    ForEachNode(node->m_left.get(), visit);
    visit(*node);
    ForEachNode(node->m_right.get(), visit);
}

}  // namespace

QLAttribTree::QLAttribTree() = default;
QLAttribTree::~QLAttribTree() = default;

std::uint64_t ToFixed(double x) {
    // Nearest for positive numbers; a negative one lands up to a whole step nearer to zero. So 0.1
    // travels as 6554 and reads back as 6554 / 65536.
    return IntegerWord(TruncToI32(x * 65536.0 + 0.5));
}

double FromFixed(std::uint64_t word) {
    return WordInteger(word) / 65536.0;
}

CQLAttribStore::~CQLAttribStore() {
    // The derived class is gone by now: nothing on the board may lead here any more.
    LeaveTree();
}

std::uint64_t CQLAttribStore::GetAttrib(std::int32_t) {
    return 0;
}

void CQLAttribStore::SetAttrib(std::int32_t, std::uint64_t) {}

void CQLAttribStore::OnAttribNotify(std::int32_t) {}

// One participant, one tree: what it left behind in another would go on calling it.
void CQLAttribStore::AttachTree(QLAttribTree* tree) {
    if (tree != m_tree)
        LeaveTree();
    m_tree = tree;
}

// The walk over the whole tree saves each participant a list of what it took.
// A participant that goes leaves no pointer to itself in the tree.
void CQLAttribStore::LeaveTree() {
    if (!m_tree)
        return;
    ForEachNode(m_tree->m_root.get(), [this](QLAttribNode& node) {
        if (node.m_provider == this)
            node.m_provider = nullptr;
        node.Remove(this);
    });
}

void CQLAttribStore::RegisterProvider(std::int32_t id) {
    bool added = false;
    QLAttribNode* node = FindOrAddNode(m_tree, id, &added);
    if (!node)
        return;
    // Who waited for the id, or read it from an earlier provider, takes over what it holds now.
    // Nobody can wait for an id that has just got its node.
    node->m_provider = this;
    if (!added)
        node->NotifyObservers();
}

void CQLAttribStore::UnregisterProvider(std::int32_t id) {
    if (QLAttribNode* node = FindNode(m_tree, id))
        node->m_provider = nullptr;
}

void CQLAttribStore::Subscribe(std::int32_t id) {
    bool added = false;
    if (QLAttribNode* node = FindOrAddNode(m_tree, id, &added))
        node->Add(this);
}

void CQLAttribStore::SubscribeAndSync(std::int32_t id) {
    Subscribe(id);
    const QLAttribNode* node = FindNode(m_tree, id);
    if (node && node->m_provider && node->m_provider != this)
        OnAttribNotify(id);
}

void CQLAttribStore::Unsubscribe(std::int32_t id) {
    if (QLAttribNode* node = FindNode(m_tree, id))
        node->Remove(this);
}

void CQLAttribStore::Notify(std::int32_t id) {
    QLAttribNode* node = FindNode(m_tree, id);
    if (!node)
        return;
    // The provider first: subscribers that read the value back find what the command made of it.
    if (node->m_provider)
        node->m_provider->OnAttribNotify(id);
    node->NotifyObservers();
}

bool CQLAttribStore::SetValue(std::int32_t id, std::uint64_t value) {
    QLAttribNode* node = FindNode(m_tree, id);
    if (!node)
        return false;
    if (!node->m_provider)
        return true;
    // The provider isn't told: it has just been given the value.
    node->m_provider->SetAttrib(id, value);
    node->NotifyObservers();
    return true;
}

bool CQLAttribStore::SetFixed(std::int32_t id, double x) {
    return SetValue(id, ToFixed(x));
}

std::uint64_t CQLAttribStore::GetValue(std::int32_t id, std::uint64_t* out) {
    const QLAttribNode* node = FindNode(m_tree, id);
    if (!node || !node->m_provider)
        return 0;
    const std::uint64_t word = node->m_provider->GetAttrib(id);
    if (out)
        *out = word;
    return word;
}

double CQLAttribStore::GetFixed(std::int32_t id) {
    return FromFixed(GetValue(id));
}

QLRect* CQLAttribStore::GetRect(std::int32_t id, QLRect* rect) {
    if (const auto* source = WordPointer<const QLRect>(GetValue(id)))
        *rect = *source;
    return rect;
}

// Three rows of six, for colour that is worked out in density.
double* CQLAttribStore::GetMatrix18(std::int32_t id, double* out) {
    if (const auto* source = WordPointer<const double>(GetValue(id)))
        std::memcpy(out, source, 18 * sizeof(double));
    return out;
}
