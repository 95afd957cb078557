#include "frame/attrib_ids.h"

#include <algorithm>

#include "platform/text.h"

namespace {

// The list of the header once more, as rows to search: enumerators and rows come out of the same
// lines and can't drift apart.
constexpr QLAttribInfo kAttribs[] = {
#define QL_ATTRIB_ROW(id, name, kind) {id, #name, QLAttribKind::kind},
    QL_ATTRIB_TABLE(QL_ATTRIB_ROW)
#undef QL_ATTRIB_ROW
};

// A line that an edit has lost or doubled stops the build. The look-up by id needs the order.
static_assert(std::size(kAttribs) == 254);
static_assert(std::is_sorted(std::begin(kAttribs), std::end(kAttribs),
                             [](const QLAttribInfo& a, const QLAttribInfo& b) {
                                 return a.m_id < b.m_id;
                             }));

constexpr std::string_view kPrefix = "QL_ATTR_";

}  // namespace

std::span<const QLAttribInfo> AttribTable() {
    return kAttribs;
}

const QLAttribInfo* FindAttrib(std::int32_t id) {
    const auto* row = std::lower_bound(
        std::begin(kAttribs), std::end(kAttribs), id,
        [](const QLAttribInfo& attrib, std::int32_t wanted) { return attrib.m_id < wanted; });
    return row != std::end(kAttribs) && row->m_id == id ? row : nullptr;
}

// For names that a person types. Linear: that happens a few times in the life of a program.
const QLAttribInfo* FindAttrib(std::string_view name) {
    for (const QLAttribInfo& row : kAttribs) {
        if (EqualNoCase(row.m_name, name) || EqualNoCase(row.m_name.substr(kPrefix.size()), name))
            return &row;
    }
    return nullptr;
}

std::string_view AttribKindName(QLAttribKind kind) {
    switch (kind) {
        case QLAttribKind::Bool:
            return "bool";
        case QLAttribKind::Integer:
            return "integer";
        case QLAttribKind::Fixed:
            return "fixed";
        case QLAttribKind::Pointer:
            return "pointer";
        case QLAttribKind::Rect:
            return "rectangle";
        case QLAttribKind::Event:
            return "event";
    }
    return "";
}
