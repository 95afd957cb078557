#include "tools/profile/check.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

#include "profile/profile_container.h"
#include "profile/profile_lines.h"
#include "profile/scan_attrib.h"
#include "profile/scanner_profile.h"

namespace {

constexpr std::string_view kVersion = "VERSION";
// Tables of profiles that this driver has no use for.
constexpr std::string_view kUnread[] = {
    "SLIDE_SHARP_SMOOTH", "NEG_SHARP_SMOOTH",   "SLIDE_SHARP_SMOOTH_2", "NEG_SHARP_SMOOTH_2",
    "FB_DUSTNSCRATCH",    "SLIDE_DUSTNSCRATCH", "NEG_DUSTNSCRATCH",
};

// The whole of a table's values as the driver takes them.
struct ExpectedTable {
    std::uint16_t m_count = 1;
    std::uint16_t m_rowCount = 0;
};

// `m_rowCount` values a row follow a count of rows; 0 for tables without rows.
std::optional<ExpectedTable> FindExpected(std::string_view key) {
    if (key == kVersion)
        return ExpectedTable{};
    for (const ScanTableFacts& facts : kScanTables) {
        if (key == facts.m_key)
            return ExpectedTable{facts.m_count, facts.m_rowCount};
    }
    return std::nullopt;
}

std::string Quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

// Goes over the text four times, each with an eye of its own. Lines count from 1.
//     CheckSize     more text than the driver reads
//     CheckLines    lines that its reader cuts or never sees
//     CheckTables   tables that it doesn't take, by its own judgement
//     CheckWords    words that count otherwise than they look
class CProfileCheck {
  public:
    explicit CProfileCheck(const std::string& text) : m_text(text) {}

    std::vector<CProfileFinding> Run() {
        CheckSize();
        CheckLines();
        CheckTables();
        CheckWords();
        std::stable_sort(m_findings.begin(), m_findings.end(),
                         [](const auto& a, const auto& b) { return a.m_line < b.m_line; });
        return std::move(m_findings);
    }

  private:
    void Error(std::uint32_t line, std::string text) {
        m_findings.push_back({true, line, std::move(text)});
    }
    void Remark(std::uint32_t line, std::string text) {
        m_findings.push_back({false, line, std::move(text)});
    }

    void CheckSize() {
        if (m_text.size() >= kProfileTextSize)
            Error(0, std::to_string(m_text.size()) + " bytes of text, at most " +
                         std::to_string(kProfileTextSize - 1) + " are read");
    }

    // What the driver's reader of lines can't take.
    void CheckLines() {
        std::uint32_t number = 1;
        for (std::size_t start = 0; start < m_text.size(); ++number) {
            const std::size_t end = m_text.find('\n', start);
            const std::string_view line = std::string_view(m_text).substr(
                start, end == std::string::npos ? end : end - start);
            if (line.find('\0') != std::string_view::npos) {
                Error(number, "a zero byte: nothing behind it is read");
                return;
            }
            if (line.size() >= CProfileLines::kMaxLine)
                Error(number, std::to_string(line.size()) +
                                  " characters: above 511, a line is read in pieces");
            if (end == std::string::npos) {
                Error(number, "the last line has no line feed and isn't read");
                return;
            }
            start = end + 1;
        }
    }

    // What the driver itself finds.
    void CheckTables() {
        const CScannerProfile profile{std::string_view(m_text)};
        const auto attrib = std::make_unique<CScanAttrib>(profile);
        for (std::size_t i = 0; i < kScanTableCount; ++i) {
            const ScanTableReport& report = attrib->Report(static_cast<ScanTable>(i));
            if (report.m_outcome == ScanTableOutcome::TooFew ||
                report.m_outcome == ScanTableOutcome::OutOfRange)
                Error(report.m_line, kScanTables[i].m_key + (": " + DescribeFault(report)));
        }
        double version = 0;
        ProfileLookup lookup;
        profile.getTable(kVersion.data(), "", &version, 1, &lookup);
        if (lookup.m_found && lookup.m_read == 0)
            Error(lookup.m_keyLine, "VERSION: no value");
        if (version < 0)
            Remark(lookup.m_lastLine,
                   "VERSION " + ShortNumber(version) + " is negative: the profile isn't used");
    }

    // Word by word: what stands in the text and isn't read as it was meant.
    void CheckWords() {
        CProfileLines lines(m_text.c_str());
        bool skipsValues = false;  // of a table that isn't read
        while (lines.NextLine()) {
            if (lines.IsComment())
                continue;
            const std::string_view word = lines.NextToken();
            if (word.empty())
                continue;
            std::size_t used = 0;
            const double number = ParseProfileNumber(word, &used);
            if (used != 0) {
                if (!skipsValues)
                    Remark(lines.Number(), "value " + ShortNumber(number) + " belongs to no table");
                skipsValues = true;
                continue;
            }
            skipsValues = !CheckTable(lines, word);
        }
    }

    // True if the table was taken.
    bool CheckTable(CProfileLines& lines, std::string_view key) {
        const std::optional<ExpectedTable> expected = FindExpected(key);
        if (!expected) {
            if (std::find(std::begin(kUnread), std::end(kUnread), key) == std::end(kUnread))
                Remark(lines.Number(), Quoted(key) + " is no table of this driver");
            return false;
        }
        if (!m_seen.insert(key).second) {
            Error(lines.Number(), std::string(key) + ": repeated, only the first one counts");
            return false;
        }
        std::size_t used = 0;
        const std::string_view word = lines.NextToken();
        ParseProfileNumber(word, &used);
        if (used != 0)
            Error(lines.Number(),
                  std::string(key) + ": " + Quoted(word) + " on the key's own line isn't read");
        TakeValues(lines, key, *expected);
        return true;
    }

    // Follows the driver's reading: values go over lines, and the table ends with its last value,
    // not with its line.
    void TakeValues(CProfileLines& lines, std::string_view key, const ExpectedTable& expected) {
        if (!lines.NextLine())
            return;
        std::size_t wanted = expected.m_count;
        for (std::size_t taken = 0; taken < wanted;) {
            const std::string_view word = lines.NextToken();
            if (word.empty()) {
                if (!lines.NextLine())
                    return;
                continue;
            }
            const double number = CheckNumber(lines.Number(), key, word);
            if (taken++ == 0 && expected.m_rowCount != 0 && number >= 1 && number <= 1000)
                wanted += static_cast<std::size_t>(number) * expected.m_rowCount;
        }
        if (const std::string_view word = lines.NextToken(); !word.empty())
            Error(lines.Number(), std::string(key) + ": " + Quoted(word) +
                                      " stands behind the last of " + std::to_string(wanted) +
                                      " values");
    }

    // The number that the driver makes of the word.
    double CheckNumber(std::uint32_t line, std::string_view key, std::string_view word) {
        std::size_t used = 0;
        const double number = ParseProfileNumber(word, &used);
        if (used == 0)
            Error(line, std::string(key) + ": " + Quoted(word) + " is no number and counts as 0");
        else if (used != word.size())
            Error(line,
                  std::string(key) + ": " + Quoted(word) + " counts as " + ShortNumber(number));
        return number;
    }

    const std::string& m_text;
    std::vector<CProfileFinding> m_findings;
    std::set<std::string_view> m_seen;
};

}  // namespace

std::vector<CProfileFinding> CheckProfileText(const std::string& text) {
    return CProfileCheck(text).Run();
}

std::string DescribeFault(const ScanTableReport& report) {
    switch (report.m_outcome) {
        case ScanTableOutcome::Missing:
            return "not in the profile";
        case ScanTableOutcome::TooFew:
            return std::to_string(report.m_read) + " of " + std::to_string(report.m_wanted) +
                   " values before the text ends";
        case ScanTableOutcome::OutOfRange:
            return "value " + ShortNumber(report.m_value) + " is out of range, " +
                   ShortNumber(report.m_low) + " to " + ShortNumber(report.m_high);
        case ScanTableOutcome::Superseded:
            return "the newer form is there";
        case ScanTableOutcome::Used:
            break;
    }
    return {};
}

std::string ShortNumber(double value) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof(digits), value);
    return error == std::errc() ? std::string(digits, end) : "?";
}
