// Options of the commands that make a picture: automatic tones, and plots of them.
#pragma once

#include <CLI/CLI.hpp>
#include <vector>

#include "service/exposure.h"
#include "tools/choice_option.h"
#include "tools/process/tone_files.h"

inline void AddToneFiles(CLI::App& sub, CToneFiles& files) {
    sub.add_option("--histogram", files.m_histogram,
                   "Draw the tones of input and result: .png, .pdf or .svg")
        ->type_name(kFileValue);
    sub.add_option("--curves", files.m_curves,
                   "Draw what becomes of each level of light, by channel: .png, .pdf or .svg")
        ->type_name(kFileValue);
}

inline CLI::Option* AddAutoWish(CLI::App& sub, AutoWish& wish, const std::string& text) {
    static constexpr bool AutoWish::*kWishes[] = {&AutoWish::tone, &AutoWish::color,
                                                  &AutoWish::expose};
    const auto take = [&wish](const std::vector<int>& given) {
        for (const int word : given)
            wish.*kWishes[word] = true;
    };
    CLI::Option* option = sub.add_option_function<std::vector<int>>("--auto", take, text);
    return TakesWordOf<int>(option, {{"tone", 0}, {"color", 1}, {"colour", 1}, {"expose", 2}})
        ->delimiter(',')
        ->allow_extra_args(false);
}
