// The stream that carries the rows of the band loop into the engine, as the bytes of a bitmap file.
// It starts the engine by itself: with the first write behind headers and palette, which is the
// first band of rows.
//
// One thread writes and, from inside the engine's commands, reads. The stream holds what the engine
// has not taken yet, which is a band or two.
#pragma once

#include <atomic>
#include <vector>

#include "engine/input_stream.h"

class CQLEngine;

// Bytes that go in at the back and out at the front.
class CByteQueue {
  public:
    std::size_t Size() const { return m_bytes.size() - m_front; }
    // False without memory; nothing is appended then.
    bool Append(const BYTE* bytes, std::size_t count);
    // No more than there are.
    void Take(BYTE* target, std::size_t count);
    void Clear();

  private:
    std::vector<BYTE> m_bytes;
    std::size_t m_front = 0;  // of m_bytes; what lies before it has been taken
};

// Ends with its last reference; a new one has none.
class CImageStream final : public CQLInputStream {
  public:
    CImageStream() = default;
    CImageStream(const CImageStream&) = delete;
    CImageStream& operator=(const CImageStream&) = delete;

    // Empties it for the next image. The engine is borrowed.
    void Reset(CQLEngine* engine);
    // Lines that the next write brings; called before it.
    void AddLines(DWORD count) { m_nLines += count; }

    // For IUnknown and IStream.
    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;
    // Never waits: what isn't there doesn't come.
    HRESULT Read(void* pv, ULONG cb, ULONG* pcbRead) override;
    HRESULT Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;

  private:
    ~CImageStream() = default;
    void StartEngine();
    bool HasHeaders() const;

    CQLEngine* m_pEngine = nullptr;
    std::atomic<ULONG> m_cRef = 0;
    CByteQueue m_queue;
    BYTE m_header[sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER)];  // the stream's first bytes
    std::size_t m_headerBytes = 0;                                       // that are there
    bool m_bHeaderPending = true;  // the engine has not been started on this image
};
