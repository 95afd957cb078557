// The tone curves that an engine has in force, measured.
#pragma once

#include <string>

class CQLEngine;

// Runs a picture of 256 patches of neutral light, one a level, through the whole chain with the
// settings as they are, behind the run of another picture or without one, and draws what became of
// them: stages, automatic tables and matrices all count. `bits` (8 or 24) and `isEncoded` are those
// of the pictures for which the engine is set. The engine's clients hear of it, and it turns and
// mirrors nothing from then on. False with one line in `error`.
bool DrawCurves(CQLEngine& engine, int bits, bool isEncoded, const std::string& path,
                std::string* error);
