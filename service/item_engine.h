// An imaging engine of the program's own, set as the driver sets its own.
//
// What the driver's engine does is settled by the properties of the item alone, tables of the model
// included, and clients may read those. So a program can ask an engine of its own what a scan will
// be.
#pragma once

#include "service/device_properties.h"

class CQLEngine;

// Prepares a new engine, and gives it the settings of the item that holds images.
ScanStatus SetUpEngine(const CDeviceProperties& properties, CQLEngine& engine);
