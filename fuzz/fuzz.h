// What all fuzz targets share. Each defines the function below, which feeds anything to one parser
// and requires what must hold of the result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the program, with its input as the finding.
inline void Require(bool holds) {
    if (!holds)
        std::abort();
}
