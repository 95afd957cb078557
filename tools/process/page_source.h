// A page of a picture file, to be read as often as a run needs it.
#pragma once

#include <memory>
#include <string>

#include "pictures/picture_reader.h"

struct CPageSource {
    std::string m_path;
    int m_page = 1;
    std::string m_name;  // for people, to stand ahead of what is wrong with it

    // Null with one line in `error`, to stand behind the name.
    std::unique_ptr<CPictureReader> Open(std::string* error) const {
        return OpenPicture(m_path, error, m_page);
    }
};
