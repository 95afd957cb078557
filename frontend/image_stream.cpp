#include "frontend/image_stream.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include "engine/engine.h"

// ---- CByteQueue

bool CByteQueue::Append(const BYTE* bytes, std::size_t count) {
    try {
        // What has been taken makes room before the memory grows.
        if (m_front != 0 && m_bytes.size() + count > m_bytes.capacity()) {
            m_bytes.erase(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(m_front));
            m_front = 0;
        }
        m_bytes.insert(m_bytes.end(), bytes, bytes + count);
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

// The bytes stay where they are until memory is needed, or none is left.
void CByteQueue::Take(BYTE* target, std::size_t count) {
    count = std::min(count, Size());
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_front), count, target);
    m_front += count;
    if (m_front == m_bytes.size())
        Clear();
}

void CByteQueue::Clear() {
    m_bytes.clear();
    m_front = 0;
}

// ---- CImageStream

void CImageStream::Reset(CQLEngine* engine) {
    m_pEngine = engine;
    m_bHeaderPending = true;
    m_nLines = 0;
    m_cbWritten = 0;
    m_cbRead = 0;
    m_queue.Clear();
    m_headerBytes = 0;
}

HRESULT CImageStream::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_IStream)
        return E_NOINTERFACE;
    *object = static_cast<IStream*>(this);
    AddRef();
    return S_OK;
}

// The engine's source and the driver each hold the stream for as long as they use it.
ULONG CImageStream::AddRef() {
    return ++m_cRef;
}

ULONG CImageStream::Release() {
    const ULONG left = --m_cRef;
    if (left == 0)
        delete this;
    return left;
}

HRESULT CImageStream::Read(void* pv, ULONG cb, ULONG* pcbRead) {
    const ULONG count = std::min(cb, m_cbWritten - m_cbRead);
    if (pcbRead)
        *pcbRead = 0;
    if (count != 0 && !pv)
        return E_POINTER;
    m_queue.Take(static_cast<BYTE*>(pv), count);
    m_cbRead += count;
    if (pcbRead)
        *pcbRead = count;
    return S_OK;
}

// Headers and the whole palette were there before the present write.
bool CImageStream::HasHeaders() const {
    BITMAPINFOHEADER info;
    std::memcpy(&info, m_header + sizeof(BITMAPFILEHEADER), sizeof(info));
    return m_cbWritten >= sizeof(m_header) + sizeof(RGBQUAD) * std::uint64_t{info.biClrUsed};
}

// Start makes the source that reads the headers, FireBegin opens the chain and publishes the
// header of the finished image. The rows of the band stay for the feed that follows.
void CImageStream::StartEngine() {
    m_bHeaderPending = false;
    if (!m_pEngine)
        return;
    m_pEngine->SetInputStream(this);
    m_pEngine->Start();
    m_pEngine->FireBegin();
}

HRESULT CImageStream::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
    if (pcbWritten)
        *pcbWritten = 0;
    if (cb != 0 && !pv)
        return E_POINTER;
    const auto* bytes = static_cast<const BYTE*>(pv);
    // The engine finds the band in the queue when it begins.
    if (!m_queue.Append(bytes, cb))
        return E_OUTOFMEMORY;
    // What is counted is the state before this write, so that neither the headers nor the palette
    // start the engine by themselves, in whatever pieces they come.
    const std::size_t missing = sizeof(m_header) - m_headerBytes;
    if (missing != 0) {
        const std::size_t taken = std::min<std::size_t>(cb, missing);
        std::copy_n(bytes, taken, m_header + m_headerBytes);
        m_headerBytes += taken;
    } else if (m_bHeaderPending && HasHeaders()) {
        StartEngine();
    }
    m_cbWritten += cb;
    if (pcbWritten)
        *pcbWritten = cb;
    return S_OK;
}
