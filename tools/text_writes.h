// Properties by name, as a person writes them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "service/device_properties.h"

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
