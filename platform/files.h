// Files, temporary names and files mapped into memory. Names are the system's own, with '/'.
#pragma once

#include "platform/handle.h"
#include "platform/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000u;
inline constexpr DWORD GENERIC_WRITE = 0x40000000u;
inline constexpr DWORD FILE_APPEND_DATA = 4;  // without GENERIC_WRITE: writes go to the end only

inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;

inline constexpr DWORD CREATE_NEW = 1;     // fails if the file is there
inline constexpr DWORD CREATE_ALWAYS = 2;  // empties a file that is there
inline constexpr DWORD OPEN_EXISTING = 3;  // fails if the file isn't there
inline constexpr DWORD OPEN_ALWAYS = 4;    // makes a file that isn't there

inline constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 4;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_FLAG_OVERLAPPED = 0x40000000;

inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_END = 2;

inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFFu;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFFu;

inline constexpr DWORD PAGE_READWRITE = 4;
inline constexpr DWORD FILE_MAP_WRITE = 2;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0xF001F;

struct OVERLAPPED;  // overlapped reads and writes are ERROR_NOT_SUPPORTED

// INVALID_HANDLE_VALUE with an error number on failure. Access is any of GENERIC_READ,
// GENERIC_WRITE and FILE_APPEND_DATA; sharing, attributes and template are taken and have no
// effect. A write through an access to append lands at the end that the file has at that moment,
// whoever else writes.
// FILE_FLAG_OVERLAPPED makes a pipe one that can be waited for (device_io.h). CREATE_ALWAYS and
// OPEN_ALWAYS leave the last error ERROR_ALREADY_EXISTS if the file was there, else 0.
HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                   DWORD disposition, DWORD flags, HANDLE templateFile);

// Reads up to `size` bytes; fewer only at the end of the file, where it succeeds with 0, or from
// something that isn't a plain file. Writes all bytes or fails; `written` tells how many went out.
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written, OVERLAPPED* overlapped);
// Whether the thread's last error is a want of room: the medium is full, or the user's limit on the
// size of files is reached.
bool IsDiskFull();

// Moves the file pointer from FILE_BEGIN or FILE_END. The distance has 64 bits, low part and
// `*distanceHigh`, or 32 with its sign if `distanceHigh` is null. Returns the low part of the new
// position and puts the high part into `*distanceHigh`. As INVALID_SET_FILE_POINTER can be a low
// part, only a last error other than 0 tells of failure: ERROR_NEGATIVE_SEEK, or
// ERROR_INVALID_PARAMETER when nothing takes the high part of a position.
DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);
// The low part; the high part goes into `*sizeHigh` if it isn't null. INVALID_FILE_SIZE is a
// failure only with a last error other than 0.
DWORD GetFileSize(HANDLE file, DWORD* sizeHigh);
// Cuts or extends the file to its pointer.
BOOL SetEndOfFile(HANDLE file);
BOOL DeleteFileA(LPCSTR name);

// The folder for temporary files, with '/' at its end. Returns the characters stored without the
// terminating zero, or the size needed if `size` is too small.
DWORD GetTempPathA(DWORD size, LPSTR buffer);
// `path`, up to three characters of `prefix`, the low 16 bits of the number in hexadecimal and
// ".TMP". With `unique` 0 a number is found whose file didn't exist, and the empty file is made,
// for its user only. `name` has MAX_PATH characters. Returns the number, 0 on failure.
UINT GetTempFileNameA(LPCSTR path, LPCSTR prefix, UINT unique, LPSTR name);

// A mapping of `size` bytes from the start of a file that was opened for reading and writing, or of
// the whole file if the size is 0; `protect` is PAGE_READWRITE. It extends the file to its size and
// takes the room on the medium at once, for its holes too, so that a full medium fails here and not
// at some later store. Null on failure. Names are ERROR_NOT_SUPPORTED.
HANDLE CreateFileMappingA(HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protect,
                          DWORD sizeHigh, DWORD sizeLow, LPCSTR name);
// A view of `size` bytes (0: to the mapping's end) from an offset that is a multiple of 65536, for
// reading and writing: `access` is FILE_MAP_WRITE or FILE_MAP_ALL_ACCESS. It lasts until
// UnmapViewOfFile, also when the mapping and the file have been closed. Null on failure.
LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                     std::size_t size);
// ERROR_INVALID_ADDRESS unless `view` is the start of a view.
BOOL UnmapViewOfFile(const void* view);
