// The two tables between linear light and density, in which colour film is corrected: dye layers
// absorb light, their effects multiply, and in the logarithm they add.
//
// Density codes: density 0 (full scale of light) to 4.0 on 0 to 65535, so one code is 4 / 65535.
#pragma once

#include <cstdint>

// The pair is made once in the process, for all engines and threads. An object of this class is
// one user of it; the pair goes with the last one. Copies of neither.
class CDensityTables {
  public:
    static constexpr std::int32_t kEntries = 65536;
    static constexpr std::int32_t kMaxCode = kEntries - 1;

    CDensityTables();
    ~CDensityTables();
    CDensityTables(const CDensityTables&) = delete;
    CDensityTables& operator=(const CDensityTables&) = delete;

    // Builds what is missing, some milliseconds of work. False when there is no memory for it.
    // Nothing below may be called before this was true; from then on the pair is only read, from
    // any thread, without a lock.
    bool Ready();

    // A code outside 0 to 65535 reads the entry at that end.
    std::uint16_t ToDensity(std::int32_t linear) const { return m_pair->m_forward[Held(linear)]; }
    std::uint16_t FromDensity(std::int32_t density) const {
        return m_pair->m_inverse[Held(density)];
    }

    // The tables themselves, for the line path.
    const std::uint16_t* Forward() const { return m_pair->m_forward; }
    const std::uint16_t* Inverse() const { return m_pair->m_inverse; }

  private:
    struct Pair {
        Pair();

        std::uint16_t m_forward[kEntries];  // linear to density
        std::uint16_t m_inverse[kEntries];  // density to linear
    };
    struct Shared;
    static Shared g_shared;

    static std::int32_t Held(std::int32_t code) {
        return code < 0 ? 0 : (code > kMaxCode ? kMaxCode : code);
    }

    const Pair* m_pair = nullptr;  // lives as long as this user
};
