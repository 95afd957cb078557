// Options of the commands that make a picture: plots of its tones.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/process/tone_files.h"

inline void AddToneFiles(CLI::App& sub, CToneFiles& files) {
    sub.add_option("--histogram", files.m_histogram,
                   "Draw the tones of input and result: .png, .pdf or .svg file");
    sub.add_option("--curves", files.m_curves,
                   "Draw what becomes of each level of light, by channel: .png, .pdf or .svg file");
}
