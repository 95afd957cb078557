// The picture that the engine's own file reader takes, set for this process only.
#pragma once

#include <functional>
#include <string>

class CPictureReader;

class CBenchSource {
  public:
    CBenchSource() = default;
    ~CBenchSource();
    CBenchSource(const CBenchSource&) = delete;
    CBenchSource& operator=(const CBenchSource&) = delete;

    // Points the engine at the file that `reader` has been opened on and has read nothing of. It
    // reads plain 24-bit bitmap files; a picture of another format goes through a temporary one,
    // which is left unfinished when `stopped` says so. False when the picture can't be had or is
    // not in colour, with one line in `error` to stand behind the file's name.
    bool Select(const std::string& path, CPictureReader& reader,
                const std::function<bool()>& stopped, std::string* error);

  private:
    bool CopyToTemporary(CPictureReader& reader, const std::function<bool()>& stopped,
                         std::string* error);

    std::string m_temporary;
};
