// The platform's formatter, with its own small language:
//
//     %[-][#][0][width][.precision][prefix]type
//
//     type     argument                             prefix
//     d i      signed decimal                       none or l: 32 bits, h: 16, I64: 64
//     u        unsigned decimal                     the same
//     x X      hexadecimal; # puts 0x or 0X ahead   the same
//     p        pointer, 16 hexadecimal digits
//     c C      one character                        h: narrow, l or w: wide; without, C is wide
//     s S      text up to its zero                  h: narrow, l or w: wide; without, S is wide
//
// Width and precision are plain numbers. The precision of a number is its least count of digits,
// that of a text the most that is taken of it: bytes, or units of a wide text. A wide text is
// written as UTF-8. A null text is "(null)", a character 0 is nothing. Any other type letter stands
// for itself, so "%%" is one percent sign. There is no floating point.
#pragma once

#include <cstdarg>

#include "platform/types.h"

// Both write at most 1024 bytes with the terminating zero, and return the count without it.
int wvsprintfA(LPSTR out, LPCSTR format, va_list arguments);
int wsprintfA(LPSTR out, LPCSTR format, ...);
