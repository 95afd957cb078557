// Anything as a profile's text.
#include "fuzz/fuzz.h"
#include "fuzz/profile_tables.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    LoadTables({reinterpret_cast<const char*>(data), size});
    return 0;
}
