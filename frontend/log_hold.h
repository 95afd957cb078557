// One hold on the settings of the log, under the driver's own identifier: the first holder's tells
// where the log is configured.
#pragma once

#include "diag/log.h"

class CLogHold {
  public:
    explicit CLogHold(REFGUID component) : m_pLogConfig(CLogConfig::Acquire(component)) {}
    ~CLogHold() {
        if (m_pLogConfig)
            CLogConfig::Release();
    }
    CLogHold(const CLogHold&) = delete;
    CLogHold& operator=(const CLogHold&) = delete;

  private:
    CLogConfig* const m_pLogConfig;  // null without memory
};
