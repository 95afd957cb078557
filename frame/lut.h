// The one-dimensional tone table of the engine: unsigned 16-bit in, unsigned 16-bit out.
//
// Tables are built on a control path and read per sample on the line path, so all cost lies in the
// builders and a sample costs one array read. Flags remember what a table is known to hold, so that
// repeated scans with unchanged settings build nothing:
//
//   identity       SetIdentity, CopyFrom an identity           IsIdentity() promises it
//   known gamma    BuildGamma, BuildSrgb                       a second BuildGamma does nothing
//   general        everything else
//
// A table that could not be allocated has size 0; every builder leaves it alone.
#pragma once

#include <cstdint>
#include <memory>

class CQLLut {
  public:
    static constexpr std::int32_t kFullSize = 65536;
    static constexpr std::int32_t kPlain = 1;
    static constexpr std::int32_t kFine = 2;  // BuildGamma draws it in steps of two entries

    struct Point {
        std::uint16_t input;
        std::uint16_t output;
    };

    // An identity table of `size` entries.
    CQLLut(std::int32_t size, std::int32_t kind);
    virtual ~CQLLut() = default;
    CQLLut(const CQLLut&) = delete;
    CQLLut& operator=(const CQLLut&) = delete;

    // A table of 65536 entries on the heap; null when there is no memory for it.
    static std::unique_ptr<CQLLut> MakeFull(std::int32_t kind = kPlain);

    std::int32_t Size() const { return m_size; }
    const std::uint16_t* Table() const { return m_table.get(); }
    // `index` lies below Size().
    std::uint16_t At(std::int32_t index) const { return m_table[index]; }
    bool IsIdentity() const { return m_identity; }
    double Gamma() const { return m_gamma; }
    // Another number than before whenever an entry may have changed: what was worked out from the
    // table is stale.
    std::uint32_t Edits() const { return m_edits; }

    void Set(std::int32_t index, std::uint16_t value);
    // Nothing is known of what the table holds any more: the next builder builds.
    void MarkEdited();
    void SetIdentity();

    // BuildGamma with the slope from black held at maxSlope.
    virtual void BuildGammaLimited(double gamma, double maxSlope);
    // y = x^(1/gamma) on the normalised range, as a chain of lines: 256 of them in a plain table.
    virtual void BuildGamma(double gamma);
    // Puts a gamma behind what the table holds, evaluated at 257 nodes with lines between them.
    virtual void ApplyGamma(double gamma);
    // Lines between `count` points, flat before the first and behind the last.
    virtual void BuildPolyline(const Point* points, std::int32_t count);

    void BuildSrgb();
    // Zero up to `low`, a line from (low, 0) to (high, full scale), full scale from `high` on.
    void BuildClipRamp(std::int32_t low, std::int32_t high);
    // A straight line between two points, ends included, in steps of a 15-bit fraction. With `clip`
    // outputs are held at 0 and Size() - 1, else at 0 and 65535. Inputs outside the table are not
    // drawn. With x0 equal to x1 the one entry x0, modulo 65536, takes y0.
    void DrawSegment(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1, bool clip);
    // Every entry v becomes Remap(v, ...): edits the output side of what the table holds.
    void RemapValues(std::int32_t inLow, std::int32_t inHigh, std::int32_t outLow,
                     std::int32_t outHigh);
    void Scale(double gain);

    // The source's entries, resampled on both axes when its size is another.
    void CopyFrom(const CQLLut& source);
    // The same through Set: the identity flag is not taken over.
    void AssignFrom(const CQLLut& source);
    // This table followed by the other. Nothing happens for different sizes. `other` may be this
    // table: that takes a copy, and false tells that there is no memory for it.
    bool ComposeWith(const CQLLut& other);
    // Entry i becomes InverseLookup(i) in `source`. Sizes and copy as above.
    bool Invert(const CQLLut& source);

    // The input that maps to `value`: by bisection where the table rises or falls throughout, else
    // the first one found from the start.
    std::int32_t InverseLookup(std::int32_t value) const;

    // Linear interpolation from x0..x1 to y0..y1, held at the ends, rounded by 0.499 away from
    // zero.
    static std::int32_t Remap(std::int32_t x, std::int32_t x0, std::int32_t x1, std::int32_t y0,
                              std::int32_t y1);

    // True for a gamma so close to 1 that the identity is built for it.
    static bool IsNeutralGamma(double gamma);

  protected:
    // The entries from `first` up to, but not including, `end` take one value.
    void Fill(std::int32_t first, std::int32_t end, std::uint16_t value);

  private:
    void DrawInside(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::uint32_t slope);
    bool IsRising() const { return m_table[0] < m_table[m_size - 1]; }
    void CheckMonotonic() const;
    std::int32_t Bisect(std::int32_t value) const;
    std::uint16_t ResampledEntry(const CQLLut& source, std::int32_t index) const;

    std::int32_t m_size = 0;
    std::unique_ptr<std::uint16_t[]> m_table;
    std::int32_t m_kind;
    bool m_curveReady = false;  // the table holds exactly the gamma curve m_gamma
    bool m_identity = false;
    double m_gamma = 1.0;  // the gamma last built
    std::uint32_t m_edits = 0;
    // Worked out when an inverse look-up first needs it.
    mutable bool m_monotonic = false;
    mutable bool m_monotonicStale = true;
};
