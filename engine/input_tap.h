// What a client's callback may be beside the published interface: one that also gets the lines of a
// page as the device delivered them, on their way into the engine.
//
// The driver asks the callback of each transfer for this interface. One that has it sees the input
// of the very scan of which it gets the result: no setting is touched for that, and no file is
// written.
#pragma once

#include "platform/com.h"

inline constexpr IID IID_IQLInputTap = {
    0x8F8E5DF6, 0x5629, 0x40D6, {0x8B, 0x74, 0xC9, 0x46, 0x4C, 0xEB, 0x93, 0x8D}};

struct IQLInputTap : IUnknown {
    // The first call of a page brings a BITMAPINFOHEADER of 8 or 24 bits and negative height, and
    // its palette; each further one whole rows, the top one first, blue ahead of red, padded to 4
    // bytes. What the driver makes up behind the end of the media isn't among them. The answer
    // counts for nothing: who has seen enough cancels as any client does.
    virtual HRESULT InputBytes(const BYTE* bytes, DWORD count) = 0;

  protected:
    ~IQLInputTap() = default;
};
