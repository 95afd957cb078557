// The media of a simulated scanner without files: a test page, numbered pages for the feeder, a
// slide and a negative.
#pragma once

#include <cstdint>
#include <memory>

#include "simulator/medium.h"

// A letter page at 300 dpi: lettering, gray steps, colours, bars, fine detail, a photograph.
std::unique_ptr<CMedium> MakeTestPage();

// A side of the feeder's n-th sheet, counted from 1: its number and side, large.
std::unique_ptr<CMedium> MakeFeederPage(std::uint32_t sheet, bool back);

// A frame of 36 by 24 mm at 1200 dpi; the negative is of the same scene.
std::unique_ptr<CMedium> MakeFilm(bool negative);
