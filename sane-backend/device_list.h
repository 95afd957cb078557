// The scanners that programs see.
#pragma once

#include <sane/sane.h>

#include <deque>
#include <string>
#include <vector>

#include "sane-backend/config.h"

class CDeviceList {
  public:
    // Reads the registry and nvq.conf anew.
    SANE_Status Renew();
    // Null behind the last. They live until the next Renew that succeeds.
    const SANE_Device** Rows() { return m_rows.data(); }
    // The number under which the service knows the scanner that a program names: by the name in
    // the list, or the one that is shown; the first for an empty text. Empty if there is none.
    std::string Find(const std::string& name) const;

  private:
    struct Entry {
        std::string number;
        std::string vendor;
        std::string model;
        SANE_Device device;
    };

    std::deque<Entry> m_entries;  // their texts stay where they are
    std::vector<const SANE_Device*> m_rows = {nullptr};
};
