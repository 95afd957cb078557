// Records written to the log field by field, and the settings of the debug images.
#pragma once

#include <string>

#include "diag/log.h"
#include "platform/wia.h"

// Whether the stream into the engine is kept as a bitmap file, and where: Enabled, RawFile and
// OutputFile of the key Software\Norvane\Lumetra\Quillet under HKEY_LOCAL_MACHINE. The names are
// read only when it is on, and are empty when they aren't set or have more than 260 bytes.
struct DebugImageSettings {
    bool enabled = false;
    std::string rawFile;
    std::string outputFile;  // nothing is written there
};
DebugImageSettings ReadDebugImageSettings();

// Each is one test when its lines aren't wanted.
void DumpTransferContext(CLog& log, const MINIDRV_TRANSFER_CONTEXT& context);
void DumpBitmapHeader(CLog& log, const BITMAPINFOHEADER& header);
// A property out of a list: its place there, its id, the first 32 bits of its value, whatever its
// type, and its published name.
void DumpPropSpec(CLog& log, const PROPSPEC& spec, const PROPVARIANT& value, LONG index);
