#include "tools/near_word.h"

#include <algorithm>
#include <vector>

namespace {

// Steps from one word to the other; a swap of two neighbours is one.
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> steps(a.size() + 1,
                                                std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            std::size_t& here = steps[i][j];
            if (i == 0 || j == 0) {
                here = i + j;
                continue;
            }
            here = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1,
                             steps[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                here = std::min(here, steps[i - 2][j - 2] + 1);
        }
    }
    return steps[a.size()][b.size()];
}

}  // namespace

std::string NearWord(std::string_view given, std::span<const std::string> known) {
    constexpr std::size_t kLeastBeginning = 2;  // letters
    constexpr std::size_t kLettersPerStep = 3;  // one mistake in so many is a mistake, not a word
    constexpr std::size_t kLongest = 40;        // nobody mistypes more

    if (given.size() > kLongest)
        return {};
    const auto begins = [given](const std::string& word) { return word.starts_with(given); };
    const std::size_t letters = given.size() - std::min(given.find_first_not_of('-'), given.size());
    if (letters >= kLeastBeginning) {
        if (const auto found = std::find_if(known.begin(), known.end(), begins);
            found != known.end())
            return *found;
    }
    std::string nearest;
    std::size_t least = std::max<std::size_t>(1, letters / kLettersPerStep) + 1;
    for (const std::string& word : known) {
        if (const std::size_t steps = Distance(given, word); steps < least) {
            least = steps;
            nearest = word;
        }
    }
    return nearest;
}
