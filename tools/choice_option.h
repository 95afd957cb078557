// What options take: one word of a few, or a value of a kind that a shell can complete.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

// Type names of options whose values are files, and devices; others that end in FILE take words
// too.
inline constexpr char kFileValue[] = "FILE";
inline constexpr char kWordOrFileValue[] = "WORD|FILE";
inline constexpr char kDeviceValue[] = "DEVICE";

template <class TValue>
using CWords = std::vector<std::pair<std::string, TValue>>;

// The option's value is that of the word, in any case. Of several words for one value the first is
// told, and the others are taken.
template <class TValue>
CLI::Option* TakesWordOf(CLI::Option* option, const CWords<TValue>& words) {
    std::vector<std::string> told;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const auto isSame = [&](const auto& word) { return word.second == words[i].second; };
        const auto end = words.begin() + static_cast<std::ptrdiff_t>(i);
        if (std::none_of(words.begin(), end, isSame))
            told.push_back(words[i].first);
    }
    const auto take = [words, told](std::string& text) {
        const auto isText = [name = CLI::detail::to_lower(text)](const auto& word) {
            return word.first == name;
        };
        const auto found = std::find_if(words.begin(), words.end(), isText);
        if (found == words.end())
            return "'" + text + "' is none of " + CLI::detail::join(told, ", ");
        text = std::to_string(static_cast<long>(found->second));
        return std::string();
    };
    // In the form of the parser's own lists, in which option_facts.h finds the words.
    return option->transform(CLI::Validator(take, "{" + CLI::detail::join(told, ",") + "}"))
        ->type_name("WORD");
}

// For completion: values that are likely, among others.
inline CLI::Option* Suggests(CLI::Option* option, const std::vector<std::string>& values) {
    const auto takeAll = [](std::string&) { return std::string(); };
    return option->check(
        CLI::Validator(takeAll, "such as {" + CLI::detail::join(values, ",") + "}"));
}

// The scanner that a command works with.
inline CLI::Option* AddDevice(CLI::App& sub, std::string& device) {
    return sub.add_option("DEVICE", device, "The scanner's number, name, identifier or port")
        ->type_name(kDeviceValue);
}
