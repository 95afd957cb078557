// How displayed values stand to light.
#pragma once

// The light of a displayed value, both from 0 to 1. A cubic that keeps to the display's curve
// within half a percent. Only + and *, which have the same bits on every machine.
constexpr double LightOfDisplayed(double value) {
    return value * (value * (value * 0.305306011 + 0.682171111) + 0.012522878);
}
