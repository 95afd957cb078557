// What one page knows of itself while it is transferred. Strides and lines are in bytes.
#pragma once

#include "controller/geometry.h"
#include "diag/debug_dump.h"
#include "frontend/task_memory.h"
#include "platform/wia.h"

// Bands go to the client's callback; any other medium is a file.
constexpr bool IsCallbackMedium(LONG tymed) {
    return tymed == TYMED_CALLBACK || tymed == TYMED_MULTIPAGE_CALLBACK;
}

// Lines of the device that are read, scaled and pumped through the engine at a time.
inline constexpr DWORD kBandLines = 20;

struct TransferState {
    // What is asked for.
    bool callbackMedium = true;
    LONG xRes = 0;  // dots per inch
    LONG yRes = 0;
    LONG bmpWidth = 0;  // pixels
    LONG numberOfLines = 0;

    // What the device will give.
    GeomControl geometry = {};
    DWORD scanPixelWidth = 0;
    DWORD scanLines = 0;
    bool scanOpen = false;  // the start was tried and the scan has not been ended

    DWORD depth = 24;  // bits a pixel, towards the engine
    DWORD bmpBytes = 0;
    DWORD scanBytes = 0;
    DWORD bmpStride = 0;
    DWORD scanStride = 0;
    DWORD lineStride = 0;  // in the band
    bool scaling = false;
    TaskArray<BYTE> band;
    TaskArray<BYTE> scaled;  // with scaling

    // How far it has come.
    DWORD bandLines = kBandLines;
    DWORD linesRead = 0;
    DWORD linesDelivered = 0;     // scaled ones
    double scaleRemainder = 0.0;  // of a line
    bool fillWhite = false;       // the media ended, and the page keeps its height
    bool stopAfterBand = false;   // the media ended, and the page ends with it
    BITMAPINFOHEADER header = {};

    DebugImageSettings debug;
    char tempName[MAX_PATH] = "";  // of a file that is left to be deleted
};
