#include "tools/option_facts.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <CLI/CLI.hpp>

#include "tools/choice_option.h"

namespace {

constexpr char kDefaultGroup[] = "Options";
constexpr std::array<const char*, 5> kGroups = {kGroupSource, kGroupPicture, kGroupFiles, kGroupJob,
                                                kGroupOther};

std::vector<std::string> Split(const std::string& text, char at) {
    return text.empty() ? std::vector<std::string>() : CLI::detail::split(text, at);
}

// "{a,b}" in a validator's description.
std::vector<std::string> WordsIn(const std::string& part) {
    const std::size_t begin = part.find('{');
    const std::size_t end = part.find('}');
    if (begin == std::string::npos || end == std::string::npos || end < begin)
        return {};
    return Split(part.substr(begin + 1, end - begin - 1), ',');
}

// "0 to 5" of "INT in [0 - 5]".
std::string RangeIn(const std::string& part) {
    const std::size_t begin = part.find(" in [");
    if (begin == std::string::npos || part.back() != ']')
        return {};
    const std::string range = part.substr(begin + 5, part.size() - begin - 6);
    return CLI::detail::find_and_replace(range, " - ", " to ");
}

bool IsNamedIn(const std::string& text, const std::string& word) {
    const auto isLetter = [&text](std::size_t i) {
        return i < text.size() && (std::isalnum(static_cast<unsigned char>(text[i])) != 0);
    };
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        if ((at == 0 || !isLetter(at - 1)) && !isLetter(at + word.size()))
            return true;
    }
    return false;
}

// What people call a value of a type of the parser's.
std::string ValueWord(const std::string& type, bool isChoice) {
    if (type == "INT" || type == "UINT" || type == "FLOAT")
        return "N";
    return isChoice && type == "TEXT" ? "WORD" : type;
}

// The names of options that this one goes with or without, as far as the text doesn't tell them.
void AddOthers(std::vector<std::string>& notes, const std::string& how, const std::string& text,
               const std::set<CLI::Option*>& others) {
    std::vector<std::string> names;
    for (const CLI::Option* other : others) {
        const std::string name = other->get_name();
        if (!name.empty() && !IsNamedIn(text, name))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());  // the set goes by addresses
    if (!names.empty())
        notes.push_back(how + CLI::detail::join(names, ", "));
}

std::string NotesOf(const CLI::Option& option, const COptionFacts& facts, bool isChoice) {
    std::vector<std::string> notes;
    const auto isNamed = [&facts](const std::string& word) {
        return IsNamedIn(facts.m_text, word);
    };
    if (isChoice && !std::all_of(facts.m_words.begin(), facts.m_words.end(), isNamed))
        notes.push_back(CLI::detail::join(facts.m_words, ", "));
    if (!facts.m_range.empty())
        notes.push_back(facts.m_range);
    AddOthers(notes, "with ", facts.m_text, option.get_needs());
    AddOthers(notes, "not with ", facts.m_text, option.get_excludes());
    if (!option.get_default_str().empty() && !facts.m_value.empty())
        notes.push_back("default: " + option.get_default_str());
    // A list takes its values one behind the other; else the option stands several times.
    if (option.get_expected_max() > 1 && !option.get_allow_extra_args() &&
        option.get_delimiter() == '\0')
        notes.emplace_back("can stand several times");
    return CLI::detail::join(notes, "; ");
}

std::size_t RankOf(const std::string& group) {
    const auto* const found = std::find(kGroups.begin(), kGroups.end(), group);
    return group == kDefaultGroup ? 0 : static_cast<std::size_t>(found - kGroups.begin()) + 1;
}

}  // namespace

COptionFacts FactsOf(const CLI::Option& option) {
    COptionFacts facts;
    for (const std::string& name : option.get_snames())
        facts.m_names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        facts.m_names.push_back("--" + name);
    facts.m_hasPlace = option.get_positional();
    facts.m_isRequired = option.get_required();
    facts.m_text = option.get_description();
    facts.m_group = option.get_group();
    std::vector<std::string> parts = Split(option.get_type_name(), ':');
    const std::string type = parts.empty() ? "" : parts.front();
    bool isChoice = false;
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const std::vector<std::string> words = WordsIn(parts[i]);
        isChoice = isChoice || parts[i].starts_with('{');
        facts.m_words.insert(facts.m_words.end(), words.begin(), words.end());
        if (const std::string range = RangeIn(parts[i]); !range.empty())
            facts.m_range = range;
    }
    facts.m_isFile = type.ends_with(kFileValue);
    facts.m_isDevice = type == kDeviceValue;
    const bool isSwitch = option.get_items_expected_max() == 0;
    if (isSwitch && !facts.m_range.empty())
        facts.m_value = "[=" + (type.empty() ? "N" : type) + "]";
    if (!isSwitch) {
        facts.m_value = facts.m_hasPlace ? option.get_name(true) : ValueWord(type, isChoice);
        if (option.get_delimiter() != '\0')
            facts.m_value += std::string("[") + option.get_delimiter() + "...]";
        else if (option.get_expected_max() > 1 && option.get_allow_extra_args())
            facts.m_value += "...";
    }
    facts.m_notes = NotesOf(option, facts, isChoice);
    return facts;
}

std::vector<COptionFacts> OptionsOf(const CLI::App& command) {
    std::vector<COptionFacts> all;
    for (const CLI::Option* option : command.get_options()) {
        if (!option->get_group().empty())
            all.push_back(FactsOf(*option));
    }
    const auto isHelp = [](const COptionFacts& facts) {
        return !facts.m_names.empty() && facts.m_names.back() == "--help";
    };
    const bool isGrouped = std::any_of(all.begin(), all.end(), [](const COptionFacts& facts) {
        return RankOf(facts.m_group) > 0;
    });
    for (COptionFacts& facts : all) {
        if (isGrouped && facts.m_group == kDefaultGroup)
            facts.m_group = kGroupOther;
    }
    const auto rank = [&](const COptionFacts& facts) {
        return facts.m_hasPlace ? 0 : 1 + 2 * RankOf(facts.m_group) + (isHelp(facts) ? 1 : 0);
    };
    std::stable_sort(all.begin(), all.end(), [&](const COptionFacts& a, const COptionFacts& b) {
        return rank(a) < rank(b);
    });
    return all;
}

std::string UsageOf(const std::string& name, const CLI::App& command) {
    std::string usage = name;
    if (command.get_require_subcommand_min() > 0)
        usage += " COMMAND";
    std::string places;
    std::string required;
    for (const COptionFacts& facts : OptionsOf(command)) {
        if (facts.m_hasPlace)
            places += facts.m_isRequired ? " " + facts.m_value : " [" + facts.m_value + "]";
        else if (facts.m_isRequired)
            required += " " + facts.m_names.front() + " " + facts.m_value;
    }
    return usage + " [OPTIONS]" + required + places;
}

std::string NamesText(const COptionFacts& facts) {
    const bool isApart =
        !facts.m_names.empty() && !facts.m_value.empty() && facts.m_value.front() != '[';
    return CLI::detail::join(facts.m_names, ", ") + (isApart ? " " : "") + facts.m_value;
}

std::string FullText(const COptionFacts& facts) {
    if (facts.m_notes.empty() || facts.m_text.empty())
        return facts.m_text + facts.m_notes;
    return facts.m_text + " [" + facts.m_notes + "]";
}
