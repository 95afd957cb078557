// Anything as the lines that a person writes settings in: attributes as "NAME=VALUE", properties
// with an "@" in front. What is accepted reaches the board and the item, whole.
#include <string>
#include <string_view>

#include "engine/engine.h"
#include "fuzz/fuzz.h"
#include "tools/process/attribute_writes.h"
#include "tools/process/model_item.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    CQLEngine engine;
    engine.Init();
    CModelItem item;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        std::string error;
        if (line.starts_with('@')) {
            Require(item.Assign(line.substr(1), &error) == error.empty());
        } else if (const auto write = CAttributeWrite::Parse(line, &error)) {
            write->Apply(engine);
        } else {
            Require(!error.empty());
        }
    }
    engine.ReadItemSettings(&item);
    return 0;
}
