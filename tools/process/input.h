// The picture file that a run reads, which may be standard input.
#pragma once

#include <functional>
#include <string>

class CProcessInput {
  public:
    // "-" is standard input.
    explicit CProcessInput(std::string name) : m_name(std::move(name)), m_path(m_name) {}
    ~CProcessInput();
    CProcessInput(const CProcessInput&) = delete;
    CProcessInput& operator=(const CProcessInput&) = delete;

    // A picture is read more than once, and from anywhere in it: what comes through a pipe is kept
    // in an unnamed temporary file. False with a line in `error`, to stand behind the name, or when
    // `stopped` says so.
    bool Take(const std::function<bool()>& stopped, std::string* error);

    // For people.
    std::string Name() const;
    const std::string& Path() const { return m_path; }

  private:
    bool Spool(const std::function<bool()>& stopped, std::string* error);

    const std::string m_name;
    std::string m_path;
    int m_file = -1;  // the temporary one
};
