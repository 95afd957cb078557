#include "tools/parser_words.h"

#include <CLI/CLI.hpp>

#include "tools/near_word.h"
#include "tools/option_facts.h"
#include "tools/text_values.h"

namespace {

std::vector<std::string> NamesOf(const CLI::App& command, bool areOptions) {
    std::vector<std::string> names;
    if (areOptions) {
        for (const COptionFacts& facts : OptionsOf(command))
            names.insert(names.end(), facts.m_names.begin(), facts.m_names.end());
    } else {
        for (const CLI::App* sub : command.get_subcommands({}))
            names.push_back(sub->get_name());
    }
    return names;
}

// A word that nothing takes; an option without its value.
std::string Unexpected(std::string word, const CLI::App& command) {
    const bool isOption = word.size() > 1 && word.front() == '-';
    if (isOption)
        word = word.substr(0, word.find('='));
    const bool wantsCommand = !isOption && command.get_require_subcommand_min() > 0;
    if (!isOption && !wantsCommand)
        return "'" + word + "' is one word too many; what has blanks in it stands in quotes";
    const std::string near = NearWord(word, NamesOf(command, isOption));
    return (isOption ? word + " is no option here" : "'" + word + "' is no command") +
           (near.empty() ? "" : "; did you mean " + near + "?");
}

// The option that a message of the parser names first.
const CLI::Option* OptionIn(const std::string& message, const CLI::App& command) {
    const std::string text = " " + message;
    const CLI::Option* found = nullptr;
    std::pair<std::size_t, std::size_t> best = {std::string::npos, 0};  // where, and letters less
    for (const CLI::Option* option : command.get_options()) {
        const std::string name = option->get_name();
        const std::pair at = {text.find(" " + name), text.size() - name.size()};
        if (!name.empty() && at < best) {
            found = option;
            best = at;
        }
    }
    return found;
}

std::string NameOf(const CLI::Option& option) {
    const COptionFacts facts = FactsOf(option);
    return facts.m_names.empty() ? facts.m_value : facts.m_names.back();
}

std::string Missing(const CLI::App& command) {
    for (const COptionFacts& facts : OptionsOf(command)) {
        const CLI::Option* option = command.get_option_no_throw(
            facts.m_names.empty() ? facts.m_value : facts.m_names.back());
        if (facts.m_isRequired && option != nullptr && option->count() == 0)
            return (facts.m_names.empty() ? "" : facts.m_names.front() + " ") + facts.m_value +
                   " is missing";
    }
    return {};
}

// The value that was refused, between the parser's own words.
std::string Between(const std::string& text, const std::string& before, const std::string& behind) {
    const std::size_t end = text.find(behind);
    if (!text.starts_with(before) || end == std::string::npos)
        return {};
    return text.substr(before.size(), end - before.size());
}

// Behind the option's name.
std::string Refused(const COptionFacts& facts, const std::string& why) {
    std::string value = Between(why, "Value ", " not in range ");
    if (!value.empty())
        return "'" + value + "' is out of range, " + facts.m_range;
    value = Between(why, "", " not in {");
    return value.empty() ? why
                         : "'" + value + "' is none of " + CLI::detail::join(facts.m_words, ", ");
}

std::string NoValue(const CLI::Option& option, const COptionFacts& facts) {
    if (facts.m_value.empty())
        return "takes no value";
    const std::string value = option.results().empty() ? "" : option.results().back();
    const char* what = "is no number";
    if (ParseInteger(value))
        what = "is too large";
    else if (ParseReal(value))
        what = "is no whole number";
    return "'" + value + "' " + what;
}

}  // namespace

std::string ParserWords(const CLI::ParseError& error, const CLI::App& command) {
    // What nothing takes explains best what else is wrong.
    for (const std::string& word : command.remaining()) {
        if (word != "--")
            return Unexpected(word, command);
    }
    const std::string kind = error.get_name();
    const std::string message = error.what();
    if (kind == "RequiredError") {
        const std::string words = Missing(command);
        return words.empty() ? message : words;
    }
    const CLI::Option* option = OptionIn(message, command);
    if (option == nullptr)
        return message;
    const COptionFacts facts = FactsOf(*option);
    const std::string name = NameOf(*option);
    const std::string rest = message.substr(std::min(message.rfind(' ') + 1, message.size()));
    if (kind == "RequiresError")
        return name + ": goes with " + rest + " only";
    if (kind == "ExcludesError")
        return name + ": can't stand beside " + rest;
    if (kind == "ConversionError")
        return name + ": " + NoValue(*option, facts);
    if (kind == "ArgumentMismatch")
        return name + (option->count() > 1 ? ": stands several times, where once is all"
                                           : ": lacks its value, " + facts.m_value);
    const std::size_t colon = message.find(": ");
    return name + ": " +
           Refused(facts, colon == std::string::npos ? message : message.substr(colon + 2));
}
