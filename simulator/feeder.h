// The sheets of the feeder: in the tray, at the scan position, gone.
//
//     tray --FeedSheet--> at the head --EndSide--> out
//                             |  in duplex the front's end leaves the sheet, with its back due
//     tray <--EndFeederJob----+  a sheet of which no side was scanned goes back
#pragma once

#include <cstdint>
#include <memory>

#include "simulator/device_state.h"
#include "simulator/medium.h"
#include "simulator/settings.h"

// Paper as the driver asks for it: in the tray, or a sheet at the head that counts as such.
bool IsPaperThere(const CSettings& settings, const CDeviceState& state);

// Brings a sheet to the head; one that is there already stays. Throws CSimFailure with the code of
// an open hatch, a jam or an empty feeder.
void FeedSheet(const CSettings& settings, CDeviceState& state);

// A side has been scanned.
void EndSide(CDeviceState& state);

// The end of a job, told or found: what a session began ends when another gets the device.
void EndFeederJob(CDeviceState& state);

// The side at the head. Throws CSimFailure for a picture that can't be had.
std::unique_ptr<CMedium> OpenSheet(const CSettings& settings, std::uint64_t sheet, bool back);
