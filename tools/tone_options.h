// Options of the commands that make a picture: automatic tones, and plots of them.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <vector>

#include "service/exposure.h"
#include "tools/process/tone_files.h"

inline void AddToneFiles(CLI::App& sub, CToneFiles& files) {
    sub.add_option("--histogram", files.m_histogram,
                   "Draw the tones of input and result: .png, .pdf or .svg file");
    sub.add_option("--curves", files.m_curves,
                   "Draw what becomes of each level of light, by channel: .png, .pdf or .svg file");
}

inline CLI::Option* AddAutoWish(CLI::App& sub, AutoWish& wish, const std::string& text) {
    const std::map<std::string, bool AutoWish::*> words = {{"tone", &AutoWish::tone},
                                                           {"color", &AutoWish::color},
                                                           {"colour", &AutoWish::color},
                                                           {"expose", &AutoWish::expose}};
    const auto take = [words, &wish](const std::vector<std::string>& given) {
        for (const std::string& word : given) {
            const auto found = words.find(CLI::detail::to_lower(word));
            if (found == words.end())
                throw CLI::ValidationError("--auto",
                                           "'" + word + "' is none of tone, color, expose");
            wish.*found->second = true;
        }
    };
    return sub.add_option_function<std::vector<std::string>>("--auto", take, text)
        ->type_name("WORD")
        ->delimiter(',')
        ->allow_extra_args(false);
}
