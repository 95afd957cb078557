// What an operation of the toolkit is called, for the log.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

// Within the compiler's own words for this function: "... [with auto Operation =
// &IOstrelDevice::StartScan; ...]".
template <auto Operation>
constexpr std::string_view OperationWords() {
    constexpr std::string_view kBefore = "Operation = &";
    const std::string_view words = __PRETTY_FUNCTION__;
    const std::size_t begin = words.find(kBefore);
    if (begin == std::string_view::npos)
        return words;
    const std::string_view name = words.substr(begin + kBefore.size());
    return name.substr(0, name.find_first_of(";]"));
}

template <auto Operation>
constexpr auto MakeOperationName() {
    std::array<char, OperationWords<Operation>().size() + 1> text = {};
    std::ranges::copy(OperationWords<Operation>(), text.begin());
    return text;
}

// "IOstrelDevice::StartScan", with a zero at its end, for &IOstrelDevice::StartScan.
template <auto Operation>
inline constexpr auto kOperationName = MakeOperationName<Operation>();
