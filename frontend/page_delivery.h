// The way of a finished page from the engine to the client: as messages through its callback, or as
// a bitmap file.
//
// The callback gets header and rows from the top, in order, through the transfer buffer; a file is
// delivered when it is whole, and the callback is told of progress alone.
#pragma once

#include "frontend/page_file.h"
#include "platform/types.h"

class CLog;

class CPageDelivery {
  public:
    // Both borrowed.
    CPageDelivery(MINIDRV_TRANSFER_CONTEXT& context, CLog& log) : m_context(context), m_log(log) {}

    // Two media mean the callback; any other is a file.
    bool IsToFile() const;
    // The client has one, of a size. It may take it away or exchange it in any call.
    bool HasBuffer() const { return m_context.pTransferBuffer && m_context.lBufferSize > 0; }
    // The engine has opened on the image and told its header; before that the client can't have
    // cancelled.
    bool HasImage() const { return m_hasImage; }
    // The client has answered S_FALSE.
    bool IsCancelled() const { return m_bCancelled; }

    // Before the first message of a page to a file.
    void OpenFile() { m_file.Open(); }

    // What the engine's image callback gets, with its answer: the client's last one, S_FALSE at
    // once after a cancel, E_FAIL when the file can't be written, E_INVALIDARG for nonsense.
    HRESULT Take(DWORD type, DWORD percent, LONG length, BYTE* buffer);

    // Behind the last message. Does nothing unless a file was opened and the page not cancelled;
    // see CPageFile::Deliver.
    HRESULT DeliverFile(bool cut, DWORD lines);

  private:
    HRESULT TakeHeader(DWORD percent, DWORD length, BYTE* buffer);
    HRESULT TakeRun(DWORD percent, DWORD length, const BYTE* buffer);
    HRESULT SendData(DWORD percent, DWORD length, const BYTE* buffer);
    HRESULT CallClient(LONG reason, DWORD percent, LONG offset, DWORD length,
                       MINIDRV_TRANSFER_CONTEXT* context);

    MINIDRV_TRANSFER_CONTEXT& m_context;
    CLog& m_log;
    CPageFile m_file;
    bool m_hasImage = false;
    bool m_bCancelled = false;
    DWORD m_dwRowBytes = 0;  // of the image; 0 until its header has gone
};
