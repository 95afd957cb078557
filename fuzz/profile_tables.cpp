#include "fuzz/profile_tables.h"

#include "fuzz/fuzz.h"
#include "platform/com.h"
#include "profile/attrib_layout.h"
#include "profile/scan_attrib.h"
#include "tools/profile/check.h"

namespace {

template <class Row>
void TakeList(const CScanAttrib& attrib, void (CScanAttrib::*get)(std::uint32_t&, Row*&) const) {
    std::uint32_t count = 0;
    Row* rows = nullptr;
    (attrib.*get)(count, rows);
    Require(count <= 1000 && (count == 0) == (rows == nullptr));
    CoTaskMemFree(rows);
}

}  // namespace

void LoadTables(const std::string& text) {
    constexpr const char* kSensors[] = {"", "Sony", "NEC", "Toshiba"};
    const CScannerProfile profile{std::string_view(text)};
    const CScanAttrib attrib(profile, kSensors[text.size() % 4]);
    for (std::size_t i = 0; i < kScanTableCount; ++i) {
        const auto table = static_cast<ScanTable>(i);
        const ScanTableFacts& facts = FactsOf(table);
        for (const double number : TakeNumbers(table, attrib.Record(table)))
            Require(number >= facts.m_low && number <= facts.m_high);
    }
    TakeList(attrib, &CScanAttrib::getExclusionAreas);
    TakeList(attrib, &CScanAttrib::getJpegTable24);
    CheckProfileText(text);
}
