// Folders of the user, by their published numbers.
#pragma once

#include "platform/module.h"
#include "platform/types.h"

inline constexpr int CSIDL_PERSONAL = 5;          // documents
inline constexpr int CSIDL_APPDATA = 26;          // settings of programs
inline constexpr int CSIDL_LOCAL_APPDATA = 28;    // data of programs
inline constexpr int CSIDL_FLAG_CREATE = 0x8000;  // the folder is made if it isn't there

// The path of a folder, without '/' at its end, into `path` of MAX_PATH characters. Application
// data lies in $XDG_CONFIG_HOME, or .config in the home folder; local application data in
// $XDG_DATA_HOME, or .local/share in the home folder; documents in $XDG_DOCUMENTS_DIR, or Documents
// in the home folder. S_FALSE with an empty path for a folder that isn't there. E_INVALIDARG for
// another number or a null path, E_FAIL without a home folder or when the path doesn't fit or the
// folder can't be made. Window, token and the other flags have no effect.
HRESULT SHGetFolderPathA(HWND owner, int folder, HANDLE token, DWORD flags, LPSTR path);
