// Text of bytes and wide text. Both code pages are UTF-8, as everywhere on this system.
#pragma once

#include "platform/types.h"

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_UTF8 = 65001;

// `length` counts the source, which ends with a zero if it is -1; `size` the target, 0 asks for the
// size needed. Both count the terminating zero if the source has it. Return what was stored, or 0:
// ERROR_INSUFFICIENT_BUFFER, or ERROR_INVALID_PARAMETER for a null text, a length of 0 or another
// code page. What is no UTF-8 or no UTF-16 goes over and comes back the same. Flags and default
// character have no effect.
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPOLESTR wide,
                        int size);
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCOLESTR wide, int length, LPSTR text,
                        int size, LPCSTR defaultCharacter, BOOL* usedDefault);
