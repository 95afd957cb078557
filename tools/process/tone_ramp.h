// The tone curves that an engine has in force, measured.
#pragma once

#include "tools/plot/tone_plots.h"

class CQLEngine;

// Runs a picture of 256 patches of neutral light, one a level, through the whole chain with the
// settings as they are, behind a run of another picture or before it: stages, automatic tables and
// matrices all count. `bits` (8 or 24) and `isEncoded` are those of the pictures for which the
// engine is set. The engine's clients hear of it. False when the chain delivers no picture.
bool MeasureCurves(CQLEngine& engine, int bits, bool isEncoded, CToneCurves* curves);
