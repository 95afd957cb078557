// Options that take one word of a few.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>

// The words stand in the option's own description; --help would list their numbers too.
template <class TValue>
CLI::Option* TakesWordOf(CLI::Option* option, const std::map<std::string, TValue>& words) {
    std::string list;
    for (const auto& [word, value] : words)
        list += (list.empty() ? "" : ", ") + word;
    const auto take = [words, list](std::string& text) {
        const auto found = words.find(CLI::detail::to_lower(text));
        if (found == words.end())
            return "'" + text + "' is none of " + list;
        text = std::to_string(static_cast<long>(found->second));
        return std::string();
    };
    return option->transform(CLI::Validator(take, ""))->type_name("WORD");
}
