// Anything as the registry's file. What can be read is written so that it reads as the same again.
#include <string>
#include <string_view>

#include "fuzz/fuzz.h"
#include "platform/internal/registry_text.h"

using platform::ParseRegistry;
using platform::RegistryKey;
using platform::RegistryText;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    RegistryKey read;
    if (ParseRegistry({reinterpret_cast<const char*>(data), size}, read) != 0)
        return 0;
    const std::string text = RegistryText(read);
    RegistryKey again;
    Require(ParseRegistry(text, again) == 0);
    Require(RegistryText(again) == text);
    return 0;
}
