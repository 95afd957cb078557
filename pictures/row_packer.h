// What packs the rows of a picture into one stream of bytes.
#pragma once

#include <cstdint>

class IRowPacker {
  public:
    virtual ~IRowPacker() = default;
    IRowPacker(const IRowPacker&) = delete;
    IRowPacker& operator=(const IRowPacker&) = delete;

    // Failures are thrown. The row may be changed.
    virtual void Pack(std::uint8_t* row) = 0;
    virtual void Finish() = 0;

  protected:
    IRowPacker() = default;
};
