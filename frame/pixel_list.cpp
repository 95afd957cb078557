#include "frame/pixel_list.h"

#include <algorithm>
#include <limits>

#include "frame/fixed_point.h"
#include "frame/try_new.h"

CExtremePixelList::CExtremePixelList(std::int32_t capacity) {
    if (capacity > 0)
        m_entries = TryNewArray<Entry>(static_cast<std::size_t>(capacity));
    if (m_entries)
        m_capacity = capacity;
}

void CExtremePixelList::Empty(std::int32_t emptySum) {
    std::fill_n(m_entries.get(), m_capacity, Entry{0, 0, 0, emptySum});
    m_count = 0;
    m_threshold = emptySum;
}

void CExtremePixelList::Average(double* r, double* g, double* b) const {
    *r = *g = *b = 0.0;
    if (m_count == 0)
        return;
    for (std::int32_t i = 0; i < m_count; ++i) {
        *r += m_entries[i].m_red;
        *g += m_entries[i].m_green;
        *b += m_entries[i].m_blue;
    }
    *r /= m_count;
    *g /= m_count;
    *b /= m_count;
}

template <typename Passes>
void CExtremePixelList::Place(const Entry& pixel, const Passes& passes) {
    if (m_capacity == 0)
        return;
    Entry* const first = m_entries.get();
    Entry* const end = first + m_capacity;
    Entry* const place = std::find_if(first, first + m_count, passes);
    // A full list may be given what it would refuse: a pixel behind the last place is not kept.
    if (place != end) {
        std::move_backward(place, end - 1, end);
        *place = pixel;
    }
    m_count = std::min(m_count + 1, m_capacity);
    m_threshold = (end - 1)->m_sum;
}

void CBrightestPixelList::Insert(std::uint16_t r, std::uint16_t g, std::uint16_t b) {
    const Entry pixel{r, g, b, SumOf(r, g, b)};
    Place(pixel, [&](const Entry& entry) { return entry.m_sum < pixel.m_sum; });
}

// The empty sum of every limit is held to 32 bits.
CDarkestPixelList::CDarkestPixelList(std::int32_t capacity, std::int32_t limit)
    : CExtremePixelList(capacity),
      m_emptySum(
          Clamp((std::int64_t{limit} + 1) * 3, 0, std::numeric_limits<std::int32_t>::max())) {
    Empty(m_emptySum);
}

void CDarkestPixelList::Insert(std::uint16_t r, std::uint16_t g, std::uint16_t b) {
    const Entry pixel{r, g, b, SumOf(r, g, b)};
    Place(pixel, [&](const Entry& entry) { return entry.m_sum > pixel.m_sum; });
}
