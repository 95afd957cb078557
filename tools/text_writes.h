// What a person writes of a scan: properties by name, and the window.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "service/scan_settings.h"

// From "NAME=VALUE", with the property's shown name in any case, or its id. Of items that both have
// it, the one on which it can be written is meant. Nothing with one line in `error`.
std::optional<ItemWrite> ParseWrite(const CDeviceProperties& properties,
                                    const std::string& assignment, std::string* error);

// All of them, each for itself; nothing with one line in `error` for the first that is none.
std::optional<std::vector<ItemWrite>> ParseWrites(const CDeviceProperties& properties,
                                                  const std::vector<std::string>& assignments,
                                                  std::string* error);

// One write for each item, in the order of the items.
std::vector<ItemWrite> GroupByItem(const std::vector<ItemWrite>& writes,
                                   const CDeviceProperties& properties);

// "X,Y,W,H" and mm, in or px; nothing with one line in `error`.
std::optional<ScanArea> ParseArea(const std::string& text, std::string* error);
