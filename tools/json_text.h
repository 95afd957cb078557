// JSON for programs, as every --json prints it.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>

// Names stand in the order of their writing.
using CJson = nlohmann::ordered_json;

// Indented, in UTF-8; bytes that are none become U+FFFD.
inline void PrintJson(std::ostream& out, const CJson& json) {
    constexpr int kIndent = 2;
    out << json.dump(kIndent, ' ', false, CJson::error_handler_t::replace) << '\n';
}

// The same on one line, without its end.
inline std::string JsonLine(const CJson& json) {
    return json.dump(-1, ' ', false, CJson::error_handler_t::replace);
}
