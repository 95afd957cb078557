#include "frame/attrib_store.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "frame/attrib_port.h"
#include "tests/support/stage_rig.h"

namespace {

constexpr std::int32_t kId = QL_ATTR_GAMMA;
constexpr std::int32_t kOther = QL_ATTR_HUE_X;

using Log = std::vector<std::string>;

// Does anything when it is told.
class CActingListener final : public CQLAttribStore {
  public:
    CActingListener(QLAttribTree* tree, std::function<void()> act)
        : CQLAttribStore(tree), m_act(std::move(act)) {}
    void OnAttribNotify(std::int32_t) override { m_act(); }

  private:
    std::function<void()> m_act;
};

class AttribStore : public testing::Test {
  protected:
    QLAttribTree m_tree;
    Log m_log;
    CTestListener m_a{&m_tree, &m_log, "a"};
    CTestListener m_b{&m_tree, &m_log, "b"};
    CTestListener m_c{&m_tree, &m_log, "c"};
};

TEST_F(AttribStore, ReadsAndWritesWithoutAProvider) {
    EXPECT_EQ(m_a.GetValue(kId), 0u);
    EXPECT_FALSE(m_a.SetValue(kId, 7)) << "nobody ever named the id";
    m_a.Subscribe(kId);
    std::uint64_t out = 99;
    EXPECT_EQ(m_a.GetValue(kId, &out), 0u);
    EXPECT_EQ(out, 99u) << "stays untouched without a provider";
    EXPECT_TRUE(m_a.SetValue(kId, 7));
    EXPECT_TRUE(m_log.empty()) << "a write into the void tells nobody";
    QLRect rect{1, 2, 3, 4};
    EXPECT_EQ(m_a.GetRect(kId, &rect)->bottom, 3);
}

TEST_F(AttribStore, NewestSubscriberIsCalledFirstAndBehindTheProvider) {
    for (CTestListener* listener : {&m_a, &m_b, &m_c})
        listener->Subscribe(kId);
    CTestListener provider(&m_tree, &m_log, "p");
    provider.RegisterProvider(kId);
    EXPECT_EQ(m_log, (Log{"c20021", "b20021", "a20021"})) << "a new provider is announced";
    m_log.clear();
    m_a.Notify(kId);
    EXPECT_EQ(m_log, (Log{"p20021", "c20021", "b20021", "a20021"}));
    m_log.clear();
    m_a.SetValue(kId, 1);
    EXPECT_EQ(m_log, (Log{"c20021", "b20021", "a20021"})) << "a write doesn't notify its provider";
}

TEST_F(AttribStore, SubscribeAndSyncTakesOverWhatAnotherProvides) {
    m_a.SubscribeAndSync(kId);
    EXPECT_TRUE(m_log.empty());
    CTestProvider provider(&m_tree);
    provider.Provide(kOther, 5);
    m_a.SubscribeAndSync(kOther);
    EXPECT_EQ(m_log, (Log{"a20052"}));
    m_log.clear();
    m_b.RegisterProvider(QL_ATTR_HUE_Y);
    m_b.SubscribeAndSync(QL_ATTR_HUE_Y);
    EXPECT_TRUE(m_log.empty()) << "the provider itself has nothing to take over";
}

TEST_F(AttribStore, OneUnsubscribeEndsAllSubscriptionsOfAClient) {
    m_a.Subscribe(kId);
    m_a.Subscribe(kId);
    m_b.Notify(kId);
    EXPECT_EQ(m_log.size(), 2u);
    m_a.Unsubscribe(kId);
    m_log.clear();
    m_b.Notify(kId);
    EXPECT_TRUE(m_log.empty());
}

TEST_F(AttribStore, FixedPointKeepsSixteenBits) {
    CTestProvider provider(&m_tree);
    provider.Provide(kId, 0);
    m_a.SetFixed(kId, 0.5);
    EXPECT_EQ(m_a.GetFixed(kId), 0.5);
    m_a.SetFixed(kId, 0.1);
    EXPECT_EQ(m_a.GetFixed(kId), 6554 / 65536.0);
    // Truncated towards zero: -6553.6 + 0.5 is -6553.1.
    EXPECT_EQ(FromFixed(ToFixed(-0.1)), -6553 / 65536.0);
    EXPECT_EQ(WordInteger(ToFixed(1e9)), 0x7FFFFFFF);
    EXPECT_EQ(WordInteger(ToFixed(-1e9)), -0x7FFFFFFF - 1);
}

TEST_F(AttribStore, RectanglesAndMatricesAreCopied) {
    const QLRect stored{5, 6, 7, 8};
    double matrix[18];
    for (int i = 0; i < 18; ++i)
        matrix[i] = i + 0.5;
    CTestProvider provider(&m_tree);
    provider.Provide(QL_ATTR_TAP_RECT, PointerWord(&stored));
    provider.Provide(QL_ATTR_DENSITY_MATRIX, PointerWord(matrix));
    QLRect rect;
    EXPECT_EQ(m_a.GetRect(QL_ATTR_TAP_RECT, &rect)->right, 8);
    double out[18] = {};
    EXPECT_EQ(m_a.GetMatrix18(QL_ATTR_DENSITY_MATRIX, out)[17], 17.5);
}

TEST_F(AttribStore, AParticipantThatDiesLeavesNoTrace) {
    {
        CTestProvider provider(&m_tree);
        provider.Provide(kId, 3);
        CTestListener gone(&m_tree, &m_log, "gone");
        gone.Subscribe(kId);
        EXPECT_EQ(m_a.GetValue(kId), 3u);
    }
    m_log.clear();
    EXPECT_EQ(m_a.GetValue(kId), 0u);
    EXPECT_TRUE(m_a.SetValue(kId, 1)) << "the id keeps its node";
    m_a.Notify(kId);
    EXPECT_TRUE(m_log.empty());
}

TEST_F(AttribStore, TheLastProviderHoldsAnIdAndUnregisteringEmptiesIt) {
    CTestProvider first(&m_tree);
    CTestProvider second(&m_tree);
    first.Provide(kId, 1);
    second.Provide(kId, 2);
    EXPECT_EQ(m_a.GetValue(kId), 2u);
    first.UnregisterProvider(kId);
    EXPECT_EQ(m_a.GetValue(kId), 0u) << "whoever it was";
}

TEST_F(AttribStore, SubscribersMayLeaveDuringAWalk) {
    // Called in the order c, actor, b, a. The actor takes itself and b away; a is still called.
    m_a.Subscribe(kId);
    auto b = std::make_unique<CTestListener>(&m_tree, &m_log, "x");
    b->Subscribe(kId);
    std::unique_ptr<CActingListener> actor;
    actor = std::make_unique<CActingListener>(&m_tree, [&] {
        m_log.push_back("act");
        b.reset();
        actor->Unsubscribe(kId);
        m_b.Subscribe(kId);
    });
    actor->Subscribe(kId);
    m_c.Subscribe(kId);
    m_a.Notify(kId);
    EXPECT_EQ(m_log, (Log{"c20021", "act", "a20021"}));
    m_log.clear();
    m_a.Notify(kId);
    EXPECT_EQ(m_log, (Log{"b20021", "c20021", "a20021"})) << "who joined in the walk comes now";
}

TEST_F(AttribStore, NestedWalksSurviveDestruction) {
    auto victim = std::make_unique<CTestListener>(&m_tree, &m_log, "v");
    victim->Subscribe(kId);
    bool inner = false;
    CActingListener actor(&m_tree, [&] {
        if (inner) {
            victim.reset();
            return;
        }
        inner = true;
        m_a.Notify(kId);
    });
    actor.Subscribe(kId);
    m_a.Notify(kId);
    EXPECT_TRUE(m_log.empty());
}

TEST(AttribPorts, CarryTheBoardToTheirOwner) {
    struct Owner {
        std::uint64_t Get(std::int32_t) { return m_value; }
        void Set(std::int32_t, std::uint64_t value) { m_value = value; }
        void Told(std::int32_t) { ++m_told; }
        std::uint64_t m_value = 4;
        int m_told = 0;
    } owner;
    QLAttribTree tree;
    CQLAttribMemberPort<Owner> port(&tree, &owner, &Owner::Told, &Owner::Get, &Owner::Set);
    port.RegisterProvider(kId);
    CQLAttribCallbackPort plain(
        &tree, &owner, [](void* o, std::int32_t) { static_cast<Owner*>(o)->m_told += 10; }, nullptr,
        nullptr);
    plain.Subscribe(kId);
    EXPECT_EQ(plain.GetValue(kId), 4u);
    plain.SetValue(kId, 6);
    EXPECT_EQ(owner.m_value, 6u);
    EXPECT_EQ(owner.m_told, 10);
    plain.Notify(kId);
    EXPECT_EQ(owner.m_told, 21);

    CQLAttribMemberPort<Owner> deaf(&tree, &owner, nullptr, nullptr, nullptr);
    deaf.RegisterProvider(kOther);
    EXPECT_TRUE(deaf.SetValue(kOther, 1));
    EXPECT_EQ(deaf.GetValue(kOther), 0u);
    deaf.Notify(kOther);
}

TEST(AttribIds, AreFoundByIdAndByName) {
    EXPECT_EQ(AttribTable().size(), 254u);
    EXPECT_EQ(FindAttrib("threshold")->m_id, 20337);
    EXPECT_EQ(FindAttrib("QL_ATTR_NEG_CURVE_8")->m_id, 20266);
    EXPECT_EQ(FindAttrib("DESTREAK_F")->m_id, 20388);
    EXPECT_EQ(FindAttrib(20275)->m_name, "QL_ATTR_SLIDE_CURVE_8");
    EXPECT_EQ(FindAttrib(20015), nullptr);
    EXPECT_EQ(FindAttrib(""), nullptr);
}

}  // namespace
