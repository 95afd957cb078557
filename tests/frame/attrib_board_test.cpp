// The attribute board, its ports, the list of ids, and participation by rows.

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "tests/support/stage_rig.h"

namespace {

constexpr std::int32_t kId = QL_ATTR_GAMMA;
constexpr std::int32_t kOther = QL_ATTR_HUE_X;

// Notes its name when it is told, and does anything then.
class CListener final : public CQLAttribStore {
  public:
    CListener(QLAttribTree* tree, std::string* log, char name, std::function<void()> act = {})
        : CQLAttribStore(tree), m_log(log), m_name(name), m_act(std::move(act)) {}
    void OnAttribNotify(std::int32_t) override {
        *m_log += m_name;
        if (m_act)
            m_act();
    }

  private:
    std::string* m_log;
    char m_name;
    std::function<void()> m_act;
};

class AttribBoard : public testing::Test {
  protected:
    std::string Told() { return std::exchange(m_log, {}); }

    QLAttribTree m_tree;
    std::string m_log;
    CListener m_a{&m_tree, &m_log, 'a'};
    CListener m_b{&m_tree, &m_log, 'b'};
    CListener m_c{&m_tree, &m_log, 'c'};
};

TEST_F(AttribBoard, AnIdWithoutProviderReadsNothingAndTakesNothing) {
    std::uint64_t out = 99;
    EXPECT_FALSE(m_a.SetValue(kId, 7)) << "nobody ever named the id";
    m_a.Subscribe(kId);
    EXPECT_EQ(m_a.GetValue(kId, &out), 0u);
    EXPECT_EQ(out, 99u);
    EXPECT_TRUE(m_a.SetValue(kId, 7));
    EXPECT_EQ(Told(), "");
    {
        CTestBoard gone(&m_tree);
        gone.Subscribe(kId);
        gone.Put(kId, 3);
        EXPECT_EQ(Told(), "a") << "a new provider is announced";
        EXPECT_EQ(m_a.GetValue(kId), 3u);
    }
    m_a.Notify(kId);
    EXPECT_EQ(Told(), "a") << "who dies leaves no trace";
    CTestBoard first(&m_tree), second(&m_tree);
    first.Put(kId, 1);
    second.Put(kId, 2);
    EXPECT_EQ(m_a.GetValue(kId), 2u) << "the last one holds it";
    first.UnregisterProvider(kId);
    EXPECT_EQ(m_a.GetValue(kId), 0u) << "emptied by whom it may be";
}

TEST_F(AttribBoard, TheNewestSubscriberIsCalledFirstAndBehindTheProvider) {
    for (CListener* listener : {&m_a, &m_b, &m_c, &m_b})
        listener->Subscribe(kId);
    CListener provider(&m_tree, &m_log, 'p');
    provider.RegisterProvider(kId);
    EXPECT_EQ(Told(), "bcba");
    m_a.Notify(kId);
    EXPECT_EQ(Told(), "pbcba");
    m_a.SetValue(kId, 1);
    EXPECT_EQ(Told(), "bcba") << "a write is no news for its provider";
    m_b.Unsubscribe(kId);
    m_a.Notify(kId);
    EXPECT_EQ(Told(), "pca") << "all entries of a client go";
    m_b.SubscribeAndSync(kId);
    EXPECT_EQ(Told(), "b");
    m_b.SubscribeAndSync(kOther);
    provider.SubscribeAndSync(kId);
    EXPECT_EQ(Told(), "") << "no value yet; its own value";
}

TEST_F(AttribBoard, SubscribersMayLeaveJoinAndDieDuringAWalk) {
    m_a.Subscribe(kId);
    auto victim = std::make_unique<CListener>(&m_tree, &m_log, 'v');
    victim->Subscribe(kId);
    bool inner = false;
    CListener actor(&m_tree, &m_log, '!', [&] {
        if (!inner) {
            inner = true;
            m_a.Notify(kId);  // a walk within the walk takes both away
            return;
        }
        victim.reset();
        actor.Unsubscribe(kId);
        m_b.Subscribe(kId);
    });
    actor.Subscribe(kId);
    m_c.Subscribe(kId);
    m_a.Notify(kId);
    EXPECT_EQ(Told(), "c!c!aa");
    m_a.Notify(kId);
    EXPECT_EQ(Told(), "bca") << "who joined in the walk comes now";
}

TEST(FixedPoint, IsCutTowardsZeroBehindAHalfAndHeldIn32Bits) {
    // clang-format off
    for (const auto& [x, word] : {std::pair{0.5, 32768}, {0.1, 6554}, {-0.1, -6553},
                                  {1e9, 0x7FFFFFFF}, {-1e9, -0x7FFFFFFF - 1}})
        // clang-format on
        EXPECT_EQ(WordInteger(ToFixed(x)), word) << x;
}

// ---- Rows

class CRowUser final : public CQLFilterStage {
  public:
    explicit CRowUser(QLAttribTree* tree) : CQLFilterStage(tree) { AttachRows(this); }
    static std::span<const QLAttribRow> Rows() {
        using S = CRowUser;
        using R = QLRowsOf<S>;
        static constexpr QLAttribRow rows[] = {
            R::Provides(QL_ATTR_RES_OPTICAL)
                .Keeps<&S::m_held>()
                .Clamps(12, 300)
                .Calls<&S::Count>()
                .Fires(kOther),
            R::Provides(QL_ATTR_POST_MATRIX).Points<&S::m_three>().Copies<&S::m_three>(),
            R::Provides(QL_ATTR_THRESHOLD).OnFire<&S::Count>(),
            R::Follows(QL_ATTR_NEG_CURVE_0, QL_ATTR_NEG_CURVE_2)
                .Keeps<&S::m_run>()
                .Marks<&S::m_stale>(),
            R::Listens(QL_ATTR_SHARPEN_LEVEL).Keeps<&S::m_sample>().Calls<&S::Count>().Always(),
        };
        return rows;
    }
    void Count() { ++m_count; }

    std::int32_t m_held = 100, m_count = 0;
    bool m_stale = false;
    double m_three[3] = {}, m_run[3] = {};
    std::uint16_t m_sample = 0;
};

TEST(AttribRows, RegisterReadAndTakeAsTheyTell) {
    QLAttribTree tree;
    CTestBoard board(&tree);
    board.PutReal(QL_ATTR_NEG_CURVE_1, 1.5);
    board.Put(QL_ATTR_SHARPEN_LEVEL, 9);
    board.Hear({QL_ATTR_POST_MATRIX, QL_ATTR_RES_OPTICAL, QL_ATTR_THRESHOLD, kOther});
    CRowUser user(&tree);
    EXPECT_EQ(board.Heard(), (Ids{QL_ATTR_RES_OPTICAL, QL_ATTR_POST_MATRIX, QL_ATTR_THRESHOLD}))
        << "in the order of the rows";
    EXPECT_EQ(user.m_run[1], 1.5) << "followed";
    EXPECT_EQ(user.m_sample, 0) << "listened to";
    EXPECT_TRUE(std::exchange(user.m_stale, false));
    for (const auto& [real, stale] : {std::pair{1.5, false}, {0.25, true}}) {
        board.PutReal(QL_ATTR_NEG_CURVE_1, real);
        EXPECT_EQ(user.m_stale, stale) << "by a change alone";
        EXPECT_EQ(user.m_run[1], real);
    }
    for (const auto& [written, held, changes] : {std::tuple{5, 12, 1}, {9, 12, 1}, {999, 300, 2}}) {
        board.SetValue(QL_ATTR_RES_OPTICAL, IntegerWord(written));
        EXPECT_EQ(board.GetInteger(QL_ATTR_RES_OPTICAL), held);
        EXPECT_EQ(user.m_count, changes) << "a call for each change";
    }
    EXPECT_EQ(board.Heard(),
              (Ids{kOther, QL_ATTR_RES_OPTICAL, QL_ATTR_RES_OPTICAL, kOther, QL_ATTR_RES_OPTICAL}));
    for (const std::uint64_t sample : {70000u, 70000u})
        board.Put(QL_ATTR_SHARPEN_LEVEL, sample);
    EXPECT_EQ(user.m_sample, 65535);
    EXPECT_EQ(user.m_count, 4) << "always";
    const double numbers[3] = {1, 2, 3};
    for (const double* matrix : {numbers, static_cast<const double*>(nullptr)})
        board.SetValue(QL_ATTR_POST_MATRIX, PointerWord(matrix));
    EXPECT_EQ(board.GetValue(QL_ATTR_POST_MATRIX), PointerWord(&user.m_three));
    EXPECT_EQ(user.m_three[2], 3.0) << "null leaves them";
    board.Notify(QL_ATTR_THRESHOLD);
    EXPECT_EQ(user.m_count, 5);
}

}  // namespace
