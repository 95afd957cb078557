#include "tools/text_values.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

namespace {

// The text must be used up to its end.
template <typename T, typename... Format>
std::optional<T> ParseWhole(std::string_view text, Format... format) {
    T value{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, format...);
    if (text.empty() || error != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

// An empty part between commas is no value.
template <typename T, typename Parse>
std::optional<std::vector<T>> ParseList(std::string_view text, Parse parse) {
    std::vector<T> values;
    for (;;) {
        const std::size_t comma = text.find(',');
        const std::optional<T> value = parse(text.substr(0, comma));
        if (!value)
            return std::nullopt;
        values.push_back(*value);
        if (comma == std::string_view::npos)
            return values;
        text.remove_prefix(comma + 1);
    }
}

// A sign that from_chars doesn't know. It would take a second one behind it.
std::string_view WithoutPlus(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    return text;
}

}  // namespace

std::optional<std::pair<std::string, std::string>> SplitAssignment(std::string_view text,
                                                                   std::string* error) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        *error = "'" + std::string(text) + "' is not of the form NAME=VALUE";
        return std::nullopt;
    }
    return std::pair(std::string(text.substr(0, equals)), std::string(text.substr(equals + 1)));
}

std::optional<std::int64_t> ParseInteger(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X"))
        return ParseWhole<std::int64_t>(text.substr(2), 16);
    return ParseWhole<std::int64_t>(WithoutPlus(text), 10);
}

std::optional<double> ParseReal(std::string_view text) {
    const auto value = ParseWhole<double>(WithoutPlus(text));
    return value && std::isfinite(*value) ? value : std::nullopt;
}

// In any case.
std::optional<bool> ParseSwitch(std::string_view text) {
    for (const char* word : {"true", "on", "yes", "1"}) {
        if (EqualNoCase(text, word))
            return true;
    }
    for (const char* word : {"false", "off", "no", "0"}) {
        if (EqualNoCase(text, word))
            return false;
    }
    return std::nullopt;
}

std::optional<std::vector<double>> ParseReals(std::string_view text) {
    return ParseList<double>(text, ParseReal);
}

std::optional<std::vector<std::int64_t>> ParseIntegers(std::string_view text) {
    return ParseList<std::int64_t>(text, ParseInteger);
}

std::string ToText(double value) {
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof(text), value);
    return error == std::errc() ? std::string(text, end) : std::string("?");
}

std::string ToText(std::span<const double> values) {
    std::string text;
    for (const double value : values)
        text += (text.empty() ? "" : ",") + ToText(value);
    return text;
}
