// The hands of the person in front of a simulated scanner: buttons, paper, hatch, film. Also where
// simulated devices lie, and how one is made.
//
// The way is plain files, so that any program can do it: a file that appears in the device's folder
// "panel" is an act, told by its name; the device removes it when it has noticed it. What isn't
// ASCII in a name means nothing.
//
//     press-N        button N, counted from 1
//     cancel         the cancel button: the running scan ends
//     load, load-N   a new stack in the feeder's tray: as many sheets as set, or N
//     unload         takes the sheets out of the tray
//     open-hatch, close-hatch, clear-jam
//     film-slide, film-negative      what lies in the adapter
//     switch-duplex, switch-simplex  the feeder's switch
//     lamp-off       the lamp goes out
//
// A device that reports its buttons through the interrupt pipe also sends a byte there: who presses
// a button writes it to the device's port.
#pragma once

#include <string>

#include "simulator/device_state.h"
#include "simulator/settings.h"

// Where the user's simulated devices lie: $NVQ_SIM_DIR, or nvqdrv/simulator in the folder for
// states ($XDG_STATE_HOME, or .local/state in the home folder). Empty if there is no such folder.
std::string SimulatorFolder();

// A device's folder; a name with a '/' in it is a path itself.
std::string SimulatedDeviceFolder(const std::string& device);

// The name under which the driver opens it.
std::string SimulatedPort(const std::string& deviceFolder);

// Whether it is the port of a device that somebody has made.
bool IsSimulatedPort(const std::string& port);

// Makes the folder with port and panel, and a device.ini that names the model unless there is one
// already. False with one line in `error`.
bool MakeSimulatedDevice(const std::string& deviceFolder, const std::string& model,
                         std::string* error);

// Writes a setting into the device's own file, device.ini, whose other lines stay. Throws
// CSimFailure when the file can't be read or written.
void SetDeviceValue(const std::string& deviceFolder, const std::string& section,
                    const std::string& key, const std::string& value);

// Does one of the acts above. False with one line in `error`; an act that the device doesn't know
// is only told when it notices it.
bool ActOnDevice(const std::string& deviceFolder, const std::string& act, std::string* error);

// Presses button `button`, counted from 1, as the device reports it: for the next poll, through the
// pipe, or both. It fails when nobody has the device open, who could listen.
bool PressButton(const std::string& deviceFolder, unsigned button, std::string* error);

// The device notices an act. False if it means nothing to it.
bool ApplyAct(const std::string& act, const CSettings& settings, CDeviceState& state);
