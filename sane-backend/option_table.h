// The options of a scanner in SANE's terms, one row each.
#pragma once

#include <sane/sane.h>

#include <span>
#include <string>
#include <vector>

#include "sane-backend/scanner_settings.h"

// A number in the option's own form, or a text.
struct OptionValue {
    SANE_Word word = 0;
    std::string text = {};

    bool operator==(const OptionValue&) const = default;
};

// What an option takes: one of these, or anything.
struct OptionLimits {
    std::vector<SANE_Range> range = {};  // at most one
    std::vector<SANE_Word> words = {};
    std::vector<const char*> texts = {};  // that live for ever
};

struct OptionRow {
    using Get = OptionValue (*)(const OptionRow&, const CScannerSettings&);
    using Set = ScanStatus (*)(const OptionRow&, CScannerSettings&, const OptionValue&);
    using Limits = OptionLimits (*)(const OptionRow&, const CScannerSettings&);

    const char* name = "";
    const char* title = "";
    const char* desc = "";
    SANE_Value_Type type = SANE_TYPE_GROUP;
    SANE_Unit unit = SANE_UNIT_NONE;
    SANE_Int cap = SANE_CAP_SOFT_SELECT | SANE_CAP_SOFT_DETECT;
    Get get = nullptr;
    Set set = nullptr;
    Limits limits = nullptr;
    bool (*isActive)(const CScannerSettings&) = nullptr;  // null: always
    PROPID id = 0;  // a scanner without this property hasn't the option; 0: every one has it
    LONG step = 1;  // of the property's numbers, in one of the option's
    int part = 0;   // which of several alike
};

// Behind the count of options, in the order in which programs show them.
std::span<const OptionRow> OptionRows();
