// Line routines of the band loop: plain functions on one band of lines in memory, which know
// nothing of the page. And the reversal of a whole bitmap's rows.
#pragma once

#include <cstddef>

#include "platform/types.h"

// Moves lines of `lineBytes` bytes that lie close together to `stride` bytes apart, in place, and
// returns the bytes that they take then. Lines that are aligned already stay where they are. What
// lies between the lines isn't written. 0 for a stride or a line of nothing; E_INVALIDARG for a
// null buffer, or when the result has no 31 bits.
LONG PadScanLines(BYTE* buffer, LONG byteCount, LONG stride, LONG lineBytes);

// The opposite: moves lines closer together, keeping the first `stride` bytes of each.
void CutScanLines(BYTE* buffer, DWORD lines, DWORD stride, DWORD lineBytes);

// Whitens each line from byte `from` to its end.
void WhitenLineEnds(BYTE* buffer, DWORD lines, DWORD stride, DWORD from);

// Scales a band. Lines of both lie at the stride of
// bitmap rows of their width. Pixels have 24 or 8 bits; for
// any other number, or a band or width of nothing, nothing is written. The last lines of a band
// have no line below, and are weighed with the one above (24 bits) or copied (8 bits); the last
// columns are copied. Reads no byte outside the source's pixels.
void BilinearInterp(const BYTE* source, BYTE* target, DWORD sourceWidth, DWORD targetWidth,
                    DWORD sourceLines, DWORD targetLines, DWORD bitsPerPixel);

// Reverses the order of a bitmap file's rows; the header stays. E_FAIL, and nothing is touched, for
// a file whose `size` is too small for what its header says.
HRESULT FlipBitmapRows(BYTE* view, std::size_t size);
