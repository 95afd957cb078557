// How the simulator fails inside: with the toolkit's error code and, where a person could mend it,
// one line that says what is wrong. Caught where a toolkit operation ends; nothing of it crosses an
// interface.
#pragma once

#include <stdexcept>
#include <string>

#include "platform/types.h"

class CSimFailure : public std::runtime_error {
  public:
    explicit CSimFailure(DWORD code, const std::string& line = {})
        : std::runtime_error(line), m_code(code) {}

    DWORD Code() const { return m_code; }

  private:
    DWORD m_code;
};
