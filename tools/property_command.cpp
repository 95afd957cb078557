// nvqscan properties.
//
// The form for programs, where "writes" is there only when something was written:
//
//     {"items": [{"name": "Top", "fullName": "0000\\Root\\Top", "properties": [
//          {"id": 6154, "name": "Brightness", "type": "long", "access": "read-write", "value": 0,
//           "valid": {"kind": "range", "min": -1000, "max": 1000, "step": 1, "nominal": 0}}]}],
//
// and "words" beside a value that stands for something; then
//
//      "writes": [{"write": "Brightness=100", "result": 0, "text": "", "changes": [
//          {"item": "Top", "id": 6154, "name": "Brightness", "before": 0, "after": 100}]}]}
//
// Records of bytes are there with --all; they are texts of hexadecimal digits, identifiers stand in
// braces, and a property without a value has null.

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "platform/text.h"
#include "tools/choice_option.h"
#include "tools/command.h"
#include "tools/json_text.h"
#include "tools/property_text.h"
#include "tools/text_table.h"
#include "tools/text_writes.h"

namespace {

struct PropertyOptions {
    std::string m_device;
    std::vector<std::string> m_sets;
    bool m_isAll = false;  // also records of bytes
    bool m_isOneByOne = false;
    bool m_isJson = false;
};

// A write and what came of it.
struct CWriteResult {
    ItemWrite m_write;
    ScanStatus m_status;
    std::vector<PropertyChange> m_changes;
};

// ---- For programs

CJson JsonOf(const PropertyValue& value) {
    if (const LONG* number = std::get_if<LONG>(&value))
        return *number;
    if (const std::string* text = std::get_if<std::string>(&value))
        return *text;
    if (const GUID* guid = std::get_if<GUID>(&value))
        return GuidText(*guid);
    const auto* bytes = std::get_if<std::vector<BYTE>>(&value);
    return bytes ? CJson(HexText(*bytes)) : CJson(nullptr);
}

// "kind" tells which of the others are there.
CJson JsonOf(const ValidValues& valid) {
    switch (valid.kind) {
        case ValidKind::Range:
            return {{"kind", "range"},
                    {"min", valid.min},
                    {"max", valid.max},
                    {"step", valid.step},
                    {"nominal", JsonOf(valid.nominal)}};
        case ValidKind::List: {
            CJson values = CJson::array();
            for (const PropertyValue& value : valid.list)
                values.push_back(JsonOf(value));
            return {{"kind", "list"}, {"values", values}, {"nominal", JsonOf(valid.nominal)}};
        }
        case ValidKind::Flags:
            return {{"kind", "flags"}, {"bits", valid.bits}, {"nominal", JsonOf(valid.nominal)}};
        case ValidKind::Anything:
            break;
    }
    return {{"kind", "any"}};
}

const char* TypeName(VARTYPE type) {
    switch (type) {
        case VT_I4:
            return "long";
        case VT_BSTR:
            return "text";
        case VT_CLSID:
            return "guid";
        case VT_VECTOR | VT_UI1:
            return "bytes";
        default:
            return "none";
    }
}

CJson JsonOf(const ScanProperty& property) {
    CJson json = {{"id", property.id},
                  {"name", property.name},
                  {"type", TypeName(property.type)},
                  {"access", property.IsWritable() ? "read-write" : "read"},
                  {"value", JsonOf(property.value)}};
    if (const std::string words = ValueWords(property.id, property.value); !words.empty())
        json["words"] = words;
    json["valid"] = JsonOf(property.valid);
    return json;
}

CJson JsonOf(const CWriteResult& result) {
    CJson changes = CJson::array();
    for (const PropertyChange& change : result.m_changes)
        changes.push_back({{"item", change.item},
                           {"id", change.after.id},
                           {"name", change.after.name},
                           {"before", JsonOf(change.before.value)},
                           {"after", JsonOf(change.after.value)}});
    return {{"write", result.m_write.words},
            {"result", static_cast<ULONG>(result.m_status.code)},
            {"text", result.m_status.text},
            {"changes", changes}};
}

// A record means something to programs that know it.
bool IsShown(const ScanProperty& property, bool isAll) {
    return isAll || property.type != (VT_VECTOR | VT_UI1);
}

void PrintAsJson(const CDeviceProperties& properties, const std::vector<CWriteResult>& results,
                 bool isAll) {
    CJson items = CJson::array();
    for (const ItemState& item : properties.Items()) {
        CJson list = CJson::array();
        for (const ScanProperty& property : item.properties) {
            if (IsShown(property, isAll))
                list.push_back(JsonOf(property));
        }
        items.push_back(
            {{"name", item.item.name}, {"fullName", item.item.fullName}, {"properties", list}});
    }
    CJson all = {{"items", items}};
    if (!results.empty()) {
        CJson writes = CJson::array();
        for (const CWriteResult& result : results)
            writes.push_back(JsonOf(result));
        all["writes"] = writes;
    }
    PrintJson(std::cout, all);
}

// ---- For people

// What each write has done to all properties, ahead of the table of how they are now.
void PrintChanges(const std::vector<CWriteResult>& results) {
    for (const CWriteResult& result : results) {
        if (!result.m_status.Ok())
            continue;
        std::cout << result.m_write.words << (result.m_changes.empty() ? ": no change\n" : "\n");
        std::vector<std::vector<std::string>> rows;
        for (const PropertyChange& change : result.m_changes) {
            const std::string before = ValueText(change.before.id, change.before.value);
            const std::string after = ValueText(change.after.id, change.after.value);
            std::string shown = after;
            if (change.before.value != change.after.value)
                shown.insert(0, " -> ").insert(0, before);
            rows.push_back({change.after.name, shown, ValidText(change.after)});
        }
        PrintColumns(std::cout, rows, "    ");
    }
    if (!results.empty())
        std::cout << '\n';
}

void PrintAsTable(const CDeviceProperties& properties, bool isAll) {
    bool isFirst = true;
    for (const ItemState& item : properties.Items()) {
        std::cout << (isFirst ? "" : "\n") << item.item.name << '\n';
        isFirst = false;
        std::vector<std::vector<std::string>> rows;
        for (const ScanProperty& property : item.properties) {
            if (!IsShown(property, isAll))
                continue;
            rows.push_back({std::to_string(property.id), property.name,
                            ValueText(property.id, property.value),
                            property.IsWritable() ? ValidText(property) : "(read only)"});
        }
        PrintColumns(std::cout, rows, "  ");
    }
}

// ---- Running

// Writes until one is refused.
ScanStatus Apply(CScanDevice& device, const std::vector<ItemWrite>& writes,
                 CDeviceProperties& properties, std::vector<CWriteResult>& results) {
    for (const ItemWrite& write : writes) {
        CWriteResult result{write, device.Write(write.item, write.writes), {}};
        CDeviceProperties now;
        if (ScanStatus status = CDeviceProperties::Read(device, now); !status.Ok())
            return status;
        result.m_changes = now.ChangesSince(properties);
        properties = std::move(now);
        results.push_back(std::move(result));
        if (!results.back().m_status.Ok())
            break;
    }
    return {};
}

// All assignments are understood before the first is written. The properties are shown also when a
// write was refused: they are why.
int Run(const PropertyOptions& options) {
    CScanDevice device;
    ScanStatus status = OpenScanner(options.m_device, device);
    CDeviceProperties properties;
    if (status.Ok())
        status = CDeviceProperties::Read(device, properties);
    if (!status.Ok())
        return Complain(status);
    std::string error;
    const auto writes = ParseWrites(properties, options.m_sets, &error);
    if (!writes)
        return Complain(error, kExitUsage);
    std::vector<CWriteResult> results;
    status = Apply(device, options.m_isOneByOne ? *writes : GroupByItem(*writes, properties),
                   properties, results);
    if (!status.Ok())
        return Complain(status);
    int code = kExitDone;
    if (!results.empty() && !results.back().m_status.Ok()) {
        status = results.back().m_status;
        status.text = results.back().m_write.words + " is refused: " + status.text;
        code = Complain(status);
    }
    if (options.m_isJson) {
        PrintAsJson(properties, results, options.m_isAll);
    } else {
        PrintChanges(results);
        PrintAsTable(properties, options.m_isAll);
    }
    return code;
}

}  // namespace

void AddPropertyCommands(CLI::App& app, CCommandList& commands) {
    const auto options = std::make_shared<PropertyOptions>();
    CLI::App* sub = app.add_subcommand("properties", "Show and try a scanner's properties");
    AddDevice(*sub, options->m_device)->default_str("the first one");
    sub->add_option("--set", options->m_sets,
                    "Write this property first, by its shown name or number; those of one item "
                    "go into one write")
        ->type_name("NAME=VALUE")
        ->take_all()
        ->allow_extra_args(false);
    sub->add_flag("--all", options->m_isAll, "Also records of bytes, in hexadecimal");
    sub->add_flag("--one-by-one", options->m_isOneByOne, "Write one after the other");
    sub->add_flag("--json", options->m_isJson, "Print JSON, for programs");
    commands.push_back({sub, [options] { return Run(*options); }});
}
