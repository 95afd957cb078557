// A device's two items and their properties, in memory, behind the service's functions: what a
// driver is tested against without the service. It keeps what is written, fails where it is told
// to, and takes the file of a transfer.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/wia.h"

class CItemStore {
  public:
    struct Item {
        template <class Record>
        void PutRecord(PROPID id, const Record& record) {
            const auto* first = reinterpret_cast<const BYTE*>(&record);
            records[id] = std::vector<BYTE>(first, first + sizeof(record));
        }
        BYTE* Context() { return reinterpret_cast<BYTE*>(this); }

        std::map<PROPID, LONG> longs;
        std::map<PROPID, std::u16string> texts;
        std::map<PROPID, GUID> guids;
        std::map<PROPID, std::vector<BYTE>> records;
        // What an access answers instead of being done.
        std::map<PROPID, HRESULT> failingReads;
        std::map<PROPID, HRESULT> failingWrites;
        std::vector<std::pair<PROPID, LONG>> writes;
    };

    // The functions serve the store that was made last.
    CItemStore();
    ~CItemStore();
    CItemStore(const CItemStore&) = delete;
    CItemStore& operator=(const CItemStore&) = delete;

    Item root;
    Item top;

    // wiasWriteBufToFile: what it answers, and what it has got, once for each file.
    HRESULT fileResult = S_OK;
    std::vector<std::vector<BYTE>> files;
    MINIDRV_TRANSFER_CONTEXT fileContext = {};  // as it came with the last
};
