#include "sane-toolkit/word_choice.h"

#include <algorithm>
#include <cctype>

std::string ChooseWord(const std::vector<std::string>& words, WordParts parts,
                       WordParts not_parts) {
    for (const std::string& word : words) {
        std::string lower = word;
        std::ranges::transform(lower, lower.begin(), [](char letter) {
            return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        });
        const auto isIn = [&lower](const char* part) {
            return lower.find(part) != std::string::npos;
        };
        if (std::ranges::any_of(parts, isIn) && std::ranges::none_of(not_parts, isIn))
            return word;
    }
    return {};
}
