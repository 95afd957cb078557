#include "stages/density_tables.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>

#include "frame/fixed_point.h"
#include "frame/try_new.h"

namespace {

constexpr double kMaxDensity = 4.0;

}  // namespace

struct CDensityTables::Shared {
    std::mutex m_lock;  // held while users are counted and the pair is made
    std::size_t m_users = 0;
    std::unique_ptr<const Pair> m_pair;
};

constinit CDensityTables::Shared CDensityTables::g_shared;

CDensityTables::Pair::Pair() {
    // The logarithm of 0 is that of the darkest code that is not 0.
    for (std::int32_t i = 1; i < kEntries; ++i) {
        const double density = std::min(-std::log10(i / 65535.0), kMaxDensity);
        m_forward[i] = TruncToU16(density * 65535.0 / kMaxDensity);
    }
    m_forward[0] = m_forward[1];
    for (std::int32_t i = 0; i < kEntries; ++i)
        m_inverse[i] = TruncToU16(std::pow(10.0, -(i / 65535.0) * kMaxDensity) * 65535.0);
}

CDensityTables::CDensityTables() {
    const std::lock_guard hold(g_shared.m_lock);
    ++g_shared.m_users;
}

CDensityTables::~CDensityTables() {
    const std::lock_guard hold(g_shared.m_lock);
    if (--g_shared.m_users == 0)
        g_shared.m_pair.reset();
}

bool CDensityTables::Ready() {
    const std::lock_guard hold(g_shared.m_lock);
    if (!g_shared.m_pair)
        g_shared.m_pair = TryNew<const Pair>();
    m_pair = g_shared.m_pair.get();
    return m_pair != nullptr;
}
