// The way out: messages to the client, and the file that is delivered.

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <csignal>

#include "tests/frontend/transfer_rig.h"

namespace {

// ---- Messages

TEST_F(CTransferTest, TheClientGetsTheHeaderAndThenRowsInOrder) {
    for (const LONG tymed : {TYMED_CALLBACK, TYMED_MULTIPAGE_CALLBACK}) {
        CTestTransfer transfer(tymed);
        ASSERT_EQ(Acquire(transfer), S_OK);
        EXPECT_EQ(transfer.messages[0].bytes.size(), 40u);
        EXPECT_EQ(transfer.messages[0].percent, 0);
        EXPECT_EQ(transfer.Header().biHeight, -47);
        EXPECT_EQ(transfer.Header().biWidth, 61);
        EXPECT_EQ(transfer.Rows().size(), 47u * 184);
        LONG percent = 0;
        for (const auto& message : transfer.messages) {
            EXPECT_EQ(message.reason, IT_MSG_DATA);
            EXPECT_GE(message.percent, percent);
            percent = message.percent;
        }
    }
}

// Bands of 15 and more rows of 184 bytes.
TEST_F(CTransferTest, LongRunsComeInWholeRows) {
    Bytes whole;
    std::size_t messages = 0;
    {
        CTestTransfer transfer(TYMED_CALLBACK);
        ASSERT_EQ(Acquire(transfer), S_OK);
        whole = transfer.Data();
        messages = transfer.messages.size();
    }
    for (const LONG room : {184 * 3 + 5, 184, 183, 41, 1}) {
        SCOPED_TRACE(room);
        CTestTransfer transfer(TYMED_CALLBACK, room);
        ASSERT_EQ(Acquire(transfer), S_OK);
        EXPECT_TRUE(Same(transfer.Data(), whole));
        EXPECT_GT(transfer.messages.size(), messages);
        for (std::size_t i = 0; i < transfer.messages.size(); ++i) {
            const auto& message = transfer.messages[i];
            EXPECT_LE(message.bytes.size(), static_cast<std::size_t>(room));
            EXPECT_TRUE(room < 184 || i == 0 || message.bytes.size() % 184 == 0);
        }
    }
}

TEST_F(CTransferTest, ACancelBetweenThePartsOfARunIsHonoured) {
    CTestTransfer transfer(TYMED_CALLBACK, 184);
    transfer.act = [](const CTestTransfer::Message& message) {
        return message.offset == 40 + 184 ? S_FALSE : S_OK;
    };
    EXPECT_EQ(Acquire(transfer), S_FALSE);
    EXPECT_EQ(transfer.messages.size(), 3u);
    EXPECT_EQ(transfer.context.cbOffset, 40 + 2 * 184);
}

TEST_F(CTransferTest, TheClientMayExchangeItsBuffer) {
    Bytes buffers[2] = {Bytes(4000), Bytes(700)};
    Bytes got;
    CTestTransfer transfer(TYMED_CALLBACK, 5000);
    transfer.act = [&](const CTestTransfer::Message& message) {
        got.insert(got.end(), message.bytes.begin(), message.bytes.end());
        Bytes& next = buffers[transfer.messages.size() % 2];
        transfer.context.pTransferBuffer = next.data();
        transfer.context.lBufferSize = static_cast<LONG>(next.size());
        return S_OK;
    };
    EXPECT_EQ(Acquire(transfer), S_OK);
    EXPECT_EQ(got.size(), 40u + 47 * 184);
    EXPECT_TRUE(Same(transfer.Data(), got));
    // One that takes it away gets nothing more.
    CTestTransfer taken(TYMED_CALLBACK);
    taken.act = [&](const auto&) {
        taken.context.pTransferBuffer = nullptr;
        return S_OK;
    };
    Acquire(taken);
    EXPECT_EQ(taken.messages.size(), 1u);
}

TEST_F(CTransferTest, OtherAnswersOfTheClientStopNothing) {
    for (const LONG tymed : {TYMED_CALLBACK, TYMED_FILE}) {
        CTestTransfer transfer(tymed);
        transfer.act = [](const auto&) { return E_UNEXPECTED; };
        EXPECT_EQ(Acquire(transfer), S_OK);
        EXPECT_GT(transfer.messages.size(), 2u);
    }
}

TEST_F(CTransferTest, WithoutACallbackAPageIsScannedAllTheSame) {
    for (const LONG tymed : {TYMED_CALLBACK, TYMED_FILE}) {
        CTestTransfer transfer(tymed);
        transfer.context.pIWiaMiniDrvCallBack = nullptr;
        EXPECT_EQ(Acquire(transfer), S_OK);
        EXPECT_EQ(transfer.context.cbOffset, tymed == TYMED_FILE ? 0 : 40 + 47 * 184);
    }
    EXPECT_EQ(store.files.size(), 1u);
}

TEST_F(CTransferTest, EndMessages) {
    CTestTransfer transfer(TYMED_CALLBACK);
    driver->m_pTransferContext = &transfer.context;
    transfer.act = [](const auto&) { return S_FALSE; };
    BYTE byte = 0;
    EXPECT_EQ(driver->ImageCallback(QL_IMAGE_CALLBACK_DIB_BUFFER, 0, 100, 0, nullptr), S_OK)
        << "whatever the client answers";
    EXPECT_EQ(driver->ImageCallback(QL_IMAGE_CALLBACK_DONE, 0, 100, 0, nullptr), S_FALSE);
    EXPECT_EQ(driver->ImageCallback(4, 0, 0, 1, &byte), S_OK);
    EXPECT_EQ(driver->ImageCallback(QL_IMAGE_CALLBACK_DIB_HEADER, 0, 0, 1, &byte), E_INVALIDARG);
    EXPECT_EQ(driver->ImageCallback(QL_IMAGE_CALLBACK_DIB_BUFFER, 0, 0, -1, &byte), E_INVALIDARG);
    EXPECT_EQ(driver->ImageCallback(QL_IMAGE_CALLBACK_DIB_BUFFER, 0, 0, 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(transfer.messages.size(), 2u);
    for (const auto& message : transfer.messages) {
        EXPECT_EQ(message.reason, IT_MSG_TERMINATION);
        EXPECT_EQ(message.percent, 100);
    }
    driver->m_bCancelled = true;
    EXPECT_EQ(driver->ImageCallback(QL_IMAGE_CALLBACK_DONE, 0, 100, 0, nullptr), S_FALSE);
    EXPECT_EQ(transfer.messages.size(), 2u);
    driver->m_bCancelled = false;
    driver->m_pTransferContext = nullptr;
    EXPECT_EQ(driver->ImageCallback(QL_IMAGE_CALLBACK_DONE, 0, 100, 0, nullptr), E_INVALIDARG);
}

// ---- Files

class FileMedium : public CTransferTest {
  protected:
    HRESULT ScanFile() {
        CTestTransfer transfer(TYMED_FILE);
        const HRESULT hr = Acquire(transfer);
        EXPECT_EQ(transfer.context.pTransferBuffer, nullptr) << "the view has ended";
        return hr;
    }
    CTestBitmap Delivered() {
        return CTestBitmap(store.files.empty() ? Bytes() : store.files.back());
    }
};

// 27 of 47 lines. Line art has a palette and another depth than the stream into the engine.
TEST_F(FileMedium, IsCutWhereTheMediaEnd) {
    for (const LONG type : {WIA_DATA_COLOR, WIA_DATA_GRAYSCALE, WIA_DATA_THRESHOLD}) {
        store.top.longs[WIA_IPA_DATATYPE] = type;
        toolkit.linesOfMedia = ~0u;
        ASSERT_EQ(ScanFile(), S_OK);
        const CTestBitmap full = Delivered();
        toolkit.linesOfMedia = 27;
        toolkit.strayBytes = 100;
        ASSERT_EQ(ScanFile(), S_OK);
        const CTestBitmap cut = Delivered();
        EXPECT_TRUE(cut.whole) << "every size in the headers is right";
        EXPECT_EQ(cut.info.biHeight, 27);
        EXPECT_EQ(cut.info.biSizeImage, 27 * cut.Stride());
        EXPECT_EQ(cut.info.biBitCount, full.info.biBitCount);
        EXPECT_EQ(DWORD{cut.file.bfOffBits}, DWORD{full.file.bfOffBits});
        const Bytes top(full.rows.begin(),
                        full.rows.begin() + static_cast<std::ptrdiff_t>(27 * cut.Stride()));
        EXPECT_TRUE(Same(cut.rows, top));
    }
}

// 27 lines are bands of 20 and 7. They give 13.33 and 4.67 lines; the parts pass 1 by their last
// bits.
TEST_F(FileMedium, IsCutToTheScaledLines) {
    Request(40, 40, 200, 200);
    toolkit.linesOfMedia = 27;
    ASSERT_EQ(ScanFile(), S_OK);
    EXPECT_TRUE(Delivered().whole);
    EXPECT_EQ(Delivered().info.biHeight, 18);
}

// Fewer lines than the engine holds back at its first feed come out white.
TEST_F(FileMedium, OfVeryFewLinesHasWholeRows) {
    Request(61, 47);
    for (const DWORD lines : {0u, 3u}) {
        toolkit.linesOfMedia = lines;
        ASSERT_EQ(ScanFile(), S_OK);
        EXPECT_TRUE(Delivered().whole);
        EXPECT_EQ(Delivered().rows, Bytes(lines * 184, 0xFF));
    }
    // White lines of the engine are 15 bytes long here, rows 16.
    toolkit.linesOfMedia = ~0u;
    Request(5, 4);
    ASSERT_EQ(ScanFile(), S_OK);
    EXPECT_TRUE(Delivered().whole);
    EXPECT_EQ(Delivered().rows, Bytes(4 * 16, 0xFF));
}

TEST_F(FileMedium, TheServicesFailureIsTheResult) {
    store.fileResult = MakeResult(0x80070070);
    EXPECT_EQ(ScanFile(), MakeResult(0x80070070));
    EXPECT_EQ(toolkit.Levels(), 0);
}

TEST_F(FileMedium, FoldersAreTriedInTheirOrder) {
    const auto folderOf = [](DWORD skip) {
        char name[MAX_PATH] = "unset";
        const bool found = CTestDriver::MakeTempName(skip, name);
        EXPECT_EQ(found, std::filesystem::remove(name));
        EXPECT_EQ(found, std::string(name) != "");
        return std::filesystem::path(name).parent_path().string();
    };
    Environment("XDG_DOCUMENTS_DIR", TestFolder() + "/documents");
    std::filesystem::create_directory(TestFolder() + "/documents");
    EXPECT_EQ(folderOf(0), TestFolder() + "/data");
    EXPECT_EQ(folderOf(1), TestFolder() + "/documents");
    EXPECT_EQ(folderOf(3), TestFolder());
    EXPECT_EQ(folderOf(7), "");
    std::filesystem::remove(TestFolder() + "/documents");
    EXPECT_EQ(folderOf(1), TestFolder()) << "documents are nowhere";
}

TEST_F(FileMedium, WithoutAnyFolderTheScanFails) {
    for (const char* name : {"XDG_DATA_HOME", "XDG_DOCUMENTS_DIR", "TMPDIR"})
        Environment(name, "/dev/null/none");
    EXPECT_EQ(ScanFile(), E_FAIL);
    EXPECT_TRUE(store.files.empty());
    EXPECT_EQ(toolkit.Levels(), 0);
    for (const char* name : {"XDG_DATA_HOME", "TMPDIR"})
        Environment(name, TestFolder());
    EXPECT_EQ(ScanFile(), S_OK);
}

// The medium is full from the first byte on, in the middle, or only where the rows are completed.
TEST_F(FileMedium, AFullDiskIsAnErrorAndLeavesNothing) {
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited = {};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    for (const rlim_t bytes : {0u, 54u, 100u, 54u + 20 * 184, 54u + 47 * 184 - 1}) {
        rlimit limited = unlimited;
        limited.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limited);
        const HRESULT hr = ScanFile();
        setrlimit(RLIMIT_FSIZE, &unlimited);
        EXPECT_EQ(hr, E_FAIL) << bytes;
    }
    Request(5, 4);  // see OfVeryFewLinesHasWholeRows: 4 x 15 bytes, and 4 to fill up
    rlimit limited = unlimited;
    limited.rlim_cur = 54 + 4 * 15 + 3;
    setrlimit(RLIMIT_FSIZE, &limited);
    EXPECT_EQ(ScanFile(), E_FAIL);
    setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_TRUE(store.files.empty());
    EXPECT_EQ(ScanFile(), S_OK);
    std::signal(SIGXFSZ, before);
}

// Killed in the middle of a page, a program leaves no file.
TEST_F(FileMedium, NoFileLiesAboutWhileItIsWritten) {
    CTestTransfer transfer(TYMED_FILE);
    std::size_t looked = 0;
    transfer.act = [&looked](const auto&) {
        EXPECT_EQ(TempFiles(), std::vector<std::string>());
        ++looked;
        return S_OK;
    };
    EXPECT_EQ(Acquire(transfer), S_OK);
    EXPECT_GT(looked, 0u);
}

}  // namespace
