// The built program, run as a shell does.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/pictures/picture_files.h"

using Arguments = std::vector<std::string>;

// One run of nvqscan.
class CProgram {
  public:
    // `prepare` runs in the child, behind the redirection of its streams to files.
    CProgram(
        const CTempFolder& folder, Arguments arguments,
        const std::function<void()>& prepare = [] {})
        : m_out(folder / ".stdout"), m_error(folder / ".stderr") {
        arguments.insert(arguments.begin(), NVQSCAN);
        m_pid = fork();
        if (m_pid != 0)
            return;
        dup2(open(m_out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
        dup2(open(m_error.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
        prepare();
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }

    void Send(int signal) const { kill(m_pid, signal); }
    bool IsRunning() const {
        siginfo_t info = {};
        return waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == 0;
    }
    // What it has said by now.
    std::string OutSoFar() const { return ReadText(m_out); }
    std::string ErrorSoFar() const { return ReadText(m_error); }
    // The exit code; 1000 and the number for a signal.
    int Wait() {
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_outText = ReadText(m_out);
        m_errorText = ReadText(m_error);
        std::filesystem::remove(m_out);
        std::filesystem::remove(m_error);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

    const std::string& Out() const { return m_outText; }
    const std::string& Error() const { return m_errorText; }

  private:
    std::string m_out;
    std::string m_error;
    std::string m_outText;
    std::string m_errorText;
    pid_t m_pid = -1;
};
