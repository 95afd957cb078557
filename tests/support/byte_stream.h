// An input stream over given bytes, which notes what it is asked for.
#pragma once

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "engine/input_stream.h"

// Not counted: it belongs to the test.
class CByteStream : public CQLInputStream {
  public:
    explicit CByteStream(std::vector<std::uint8_t> bytes) : m_bytes(std::move(bytes)) {
        m_cbWritten = static_cast<std::uint32_t>(m_bytes.size());
    }
    virtual ~CByteStream() = default;

    void Append(const std::vector<std::uint8_t>& bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        m_cbWritten += static_cast<std::uint32_t>(bytes.size());
    }
    // All bytes, also those that have been read.
    const std::vector<std::uint8_t>& All() const { return m_bytes; }

    HRESULT QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }

    // Delivers what is there, up to `bytes`, also when it is told to fail.
    HRESULT Read(void* target, ULONG bytes, ULONG* read) override {
        const bool fails = m_failing.count(m_reads.size()) != 0;
        m_reads.push_back(bytes);
        const auto got = static_cast<ULONG>(std::min<std::size_t>(bytes, m_bytes.size() - m_next));
        std::copy_n(m_bytes.data() + m_next, got, static_cast<std::uint8_t*>(target));
        m_next += got;
        m_cbRead += got;
        if (read)
            *read = got;
        return fails ? E_FAIL : got == bytes ? S_OK : S_FALSE;
    }
    HRESULT Write(const void* source, ULONG bytes, ULONG* written) override {
        const auto* first = static_cast<const std::uint8_t*>(source);
        Append({first, first + bytes});
        if (written)
            *written = bytes;
        return S_OK;
    }

    std::vector<ULONG> m_reads;       // bytes asked for, call by call
    std::set<std::size_t> m_failing;  // calls that report a failure, the first being 0

  private:
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_next = 0;
};
