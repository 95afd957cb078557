#include "diag/log_banner.h"

#include <atomic>
#include <cstdint>
#include <ostream>
#include <string_view>

#include "platform/module.h"
#include "platform/sync.h"

namespace {

constexpr std::string_view kRule = "**********************************";  // 34

// Process and thread id of the last writer, in one word, so that two threads that take turns never
// see a process of the one with a thread of the other.
std::atomic<std::uint64_t> g_lastWriter = 0;

std::uint64_t WriterWord(const CLogWriter& writer) {
    return static_cast<std::uint64_t>(writer.m_process) << 32 | writer.m_thread;
}

CLogWriter WriterOf(std::uint64_t word) {
    return {static_cast<DWORD>(word >> 32), static_cast<DWORD>(word)};
}

}  // namespace

void WriteLogBanner(std::ostream& out, const CLogWriter& writer, const CLogWriter& last) {
    char program[MAX_PATH] = "";
    const bool named = GetModuleFileNameA(nullptr, program, MAX_PATH) != 0;
    out << '\n' << kRule << '\n' << "**** " << std::hex;
    out << "PID=0x" << writer.m_process << '(' << (named ? program : "<name not available>") << ')';
    // A thread of the same number in another process gets a line of its own for its process.
    out << (writer.m_thread == last.m_thread ? " ****\n**** " : ", ");
    out << "TID=0x" << writer.m_thread << " ****" << '\n' << kRule << "\n\n" << std::dec;
}

void WriteBannerIfNewWriter(std::ostream& out) {
    const CLogWriter writer{GetCurrentProcessId(), GetCurrentThreadId()};
    const std::uint64_t now = WriterWord(writer);
    // In one step, so that of two threads that come at once only one finds the former writer.
    const std::uint64_t before = g_lastWriter.exchange(now);
    if (before != now)
        WriteLogBanner(out, writer, WriterOf(before));
}
