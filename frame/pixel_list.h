// The few most extreme pixels of an image, by the sum of their three samples: references of white
// and black. Most pixels are refused by one comparison of sums.
#pragma once

#include <cstdint>
#include <memory>

class CExtremePixelList {
  public:
    virtual ~CExtremePixelList() = default;
    CExtremePixelList(const CExtremePixelList&) = delete;
    CExtremePixelList& operator=(const CExtremePixelList&) = delete;

    // Means of the entries' samples; 0 without entries.
    virtual void Average(double* r, double* g, double* b) const;
    virtual void Clear() { Empty(0); }
    virtual std::int32_t Count() const { return m_count; }
    // Puts a pixel behind those of its own sum or a more extreme one. The entry in the last place
    // is lost.
    virtual void Insert(std::uint16_t r, std::uint16_t g, std::uint16_t b) = 0;

    // 0 when there was no memory for the entries: the list stays empty then.
    std::int32_t Capacity() const { return m_capacity; }
    // The sum in the last place, which a pixel has to pass to be taken.
    std::int32_t Threshold() const { return m_threshold; }

  protected:
    struct Entry {
        std::uint16_t m_red;
        std::uint16_t m_green;
        std::uint16_t m_blue;
        std::int32_t m_sum;
    };

    explicit CExtremePixelList(std::int32_t capacity);
    static std::int32_t SumOf(std::uint16_t r, std::uint16_t g, std::uint16_t b) {
        return std::int32_t{r} + g + b;
    }
    // Back to no entries, each place with the sum of an empty one.
    void Empty(std::int32_t emptySum);
    // Puts a pixel at the first place from which `passes` says that it is the more extreme one.
    template <typename Passes>
    void Place(const Entry& pixel, const Passes& passes);

  private:
    std::unique_ptr<Entry[]> m_entries;  // m_capacity of them, the most extreme first
    std::int32_t m_capacity = 0;
    std::int32_t m_count = 0;
    std::int32_t m_threshold = 0;
};

// Falling sums. Black is never taken: its sum is that of an empty place.
class CBrightestPixelList : public CExtremePixelList {
  public:
    explicit CBrightestPixelList(std::int32_t capacity) : CExtremePixelList(capacity) {}

    void Insert(std::uint16_t r, std::uint16_t g, std::uint16_t b) override;
    void Offer(std::uint16_t r, std::uint16_t g, std::uint16_t b) {
        if (SumOf(r, g, b) > Threshold())
            Insert(r, g, b);
    }
};

// The same without pixels of which a sample lies above `limit`: those may be saturated.
class CBoundedBrightestList final : public CBrightestPixelList {
  public:
    CBoundedBrightestList(std::int32_t capacity, std::uint16_t limit)
        : CBrightestPixelList(capacity), m_limit(limit) {}

    void Offer(std::uint16_t r, std::uint16_t g, std::uint16_t b) {
        if (SumOf(r, g, b) > Threshold() && r <= m_limit && g <= m_limit && b <= m_limit)
            Insert(r, g, b);
    }

  private:
    std::uint16_t m_limit;
};

// Rising sums, below three times (limit + 1).
class CDarkestPixelList final : public CExtremePixelList {
  public:
    CDarkestPixelList(std::int32_t capacity, std::int32_t limit);

    void Clear() override { Empty(m_emptySum); }
    void Insert(std::uint16_t r, std::uint16_t g, std::uint16_t b) override;
    void Offer(std::uint16_t r, std::uint16_t g, std::uint16_t b) {
        if (SumOf(r, g, b) < Threshold())
            Insert(r, g, b);
    }

  private:
    std::int32_t m_emptySum;
};
