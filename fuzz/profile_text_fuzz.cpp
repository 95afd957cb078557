// Anything as a profile's text. Its numbers are read as the library reads them in the plain locale,
// but for those that have a name or another base.
#include <cstdlib>
#include <string>

#include "fuzz/fuzz.h"
#include "fuzz/profile_tables.h"
#include "profile/profile_lines.h"

namespace {

void CheckNumbers(const std::string& text) {
    CProfileLines lines(text.c_str());
    while (lines.NextLine()) {
        for (auto token = lines.NextToken(); !token.empty(); token = lines.NextToken()) {
            if (token.find_first_not_of("0123456789+-.eE") != std::string_view::npos)
                continue;
            const std::string number(token);
            char* end = nullptr;
            const double expected = std::strtod(number.c_str(), &end);
            std::size_t used = 0;
            Require(ParseProfileNumber(token, &used) == expected);
            Require(used == static_cast<std::size_t>(end - number.c_str()));
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckNumbers(text);
    LoadTables(text);
    return 0;
}
