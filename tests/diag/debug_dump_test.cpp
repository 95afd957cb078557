// Records in the log, and the switch of the debug images.

#include "diag/debug_dump.h"

#include "platform/registry.h"
#include "tests/diag/log_rig.h"

namespace {

class DebugDump : public CLogRig {
  protected:
    void TearDown() override {
        RegClearProcessValues();
        CLogRig::TearDown();
    }
    // Lines as they stand behind their indentation.
    static std::string Lines(const std::string& text) {
        std::istringstream in(text);
        std::string all;
        for (std::string line; std::getline(in, line);)
            all += line.substr(std::min(line.find_first_not_of(' '), line.size())) + '\n';
        return all;
    }
    template <class Dump>
    std::string Logged(DWORD level, Dump dump) {
        Settings(level, kLogToDebugger);
        const CConfigHold hold;
        CLog log;
        TakeRaw();
        dump(log);
        return Lines(Take());
    }
    static void Set(const char* name, DWORD type, const void* data, std::size_t size) {
        RegSetProcessValue(HKEY_LOCAL_MACHINE, "Software\\Norvane\\Lumetra\\Quillet", name, type,
                           data, static_cast<DWORD>(size));
    }
    static void Set(const char* name, const std::string& text) {
        Set(name, REG_SZ, text.c_str(), text.size() + 1);
    }
};

TEST_F(DebugDump, TransferContexts) {
    MINIDRV_TRANSFER_CONTEXT context = {};
    LONG next = 1;
    for (LONG MINIDRV_TRANSFER_CONTEXT::*field :
         {&MINIDRV_TRANSFER_CONTEXT::lSize, &MINIDRV_TRANSFER_CONTEXT::lWidthInPixels,
          &MINIDRV_TRANSFER_CONTEXT::lLines, &MINIDRV_TRANSFER_CONTEXT::lDepth,
          &MINIDRV_TRANSFER_CONTEXT::lXRes, &MINIDRV_TRANSFER_CONTEXT::lYRes,
          &MINIDRV_TRANSFER_CONTEXT::lCompression, &MINIDRV_TRANSFER_CONTEXT::tymed,
          &MINIDRV_TRANSFER_CONTEXT::cbOffset, &MINIDRV_TRANSFER_CONTEXT::lBufferSize,
          &MINIDRV_TRANSFER_CONTEXT::lActiveBuffer, &MINIDRV_TRANSFER_CONTEXT::lNumBuffers,
          &MINIDRV_TRANSFER_CONTEXT::lImageSize, &MINIDRV_TRANSFER_CONTEXT::lHeaderSize,
          &MINIDRV_TRANSFER_CONTEXT::lItemSize, &MINIDRV_TRANSFER_CONTEXT::cbWidthInBytes,
          &MINIDRV_TRANSFER_CONTEXT::lPage, &MINIDRV_TRANSFER_CONTEXT::lCurIfdOffset,
          &MINIDRV_TRANSFER_CONTEXT::lPrevIfdOffset})
        context.*field = next++;
    context.hFile = LONG_PTR{5} << 32 | 71;
    context.lClientAddress = 72;
    context.bTransferDataCB = 73;
    context.bClassDrvAllocBuf = -74;
    context.pBaseBuffer = reinterpret_cast<BYTE*>(0xABC);
    const auto dump = [&context](CLog& log) { DumpTransferContext(log, context); };
    EXPECT_EQ(Logged(kLogGeneral | kLogDumps, dump),
              "WIA_PMDTC : ----------------------------------------------\n"
              "WIA_PMDTC : pmdtc->lSize            \t= 1\n"
              "WIA_PMDTC : pmdtc->lWidthInPixels   \t= 2\n"
              "WIA_PMDTC : pmdtc->lLines           \t= 3\n"
              "WIA_PMDTC : pmdtc->lDepth           \t= 4\n"
              "WIA_PMDTC : pmdtc->lXRes            \t= 5\n"
              "WIA_PMDTC : pmdtc->lYRes\t           \t= 6\n"
              "WIA_PMDTC : pmdtc->lCompression     \t= 7\n"
              "WIA_PMDTC : pmdtc->tymed\t           \t= 8\n"
              "WIA_PMDTC : pmdtc->hFile            \t= 71\n"
              "WIA_PMDTC : pmdtc->cbOffset         \t= 9\n"
              "WIA_PMDTC : pmdtc->lBufferSize      \t= 10\n"
              "WIA_PMDTC : pmdtc->lActiveBuffer    \t= 11\n"
              "WIA_PMDTC : pmdtc->lNumBuffers      \t= 12\n"
              "WIA_PMDTC : pmdtc->pBaseBuffer\t     \t= 0000000000000ABC\n"
              "WIA_PMDTC : pmdtc->pTransferBuffer  \t= 0000000000000000\n"
              "WIA_PMDTC : pmdtc->bTransferDataCB  \t= 73\n"
              "WIA_PMDTC : pmdtc->bClassDrvAllocBuf\t= -74\n"
              "WIA_PMDTC : pmdtc->lClientAddress   \t= 72\n"
              "WIA_PMDTC : pmdtc->pMiniDrvCallBack \t= 0000000000000000\n"
              "WIA_PMDTC : pmdtc->lImageSize       \t= 13\n"
              "WIA_PMDTC : pmdtc->lHeaderSize      \t= 14\n"
              "WIA_PMDTC : pmdtc->cbWidthInBytes   \t= 16\n"
              "WIA_PMDTC : pmdtc->lPage            \t= 17\n"
              "WIA_PMDTC : pmdtc->lCurIfdOffset    \t= 18\n"
              "WIA_PMDTC : pmdtc->lPrevIfdOffset   \t= 19\n"
              "WIA_PMDTC : ----------------------------------------------\n");
    EXPECT_EQ(Logged(kLogGeneral | kLogInformation, dump), "");
}

TEST_F(DebugDump, BitmapHeaders) {
    const BITMAPINFOHEADER header = {40, 1, -2, 3, 24, 5, 6, 7, 8, 9, 10};
    const auto dump = [&header](CLog& log) { DumpBitmapHeader(log, header); };
    EXPECT_EQ(Logged(kLogGeneral | kLogDumps, dump),
              "WIA_BITMAPHEADER pBMPInfoHeader->biSize\t= 40\n"
              "WIA_BITMAPHEADER pBMPInfoHeader->biWidth\t= 1\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biHeight\t= -2\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biPlanes\t= 3\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biBitCount\t= 24\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biCompression\t= 5\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biSizeImage\t= 6\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biXPelsPerMeter\t= 7\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biYPelsPerMeter\t= 8\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biClrUsed\t= 9\n"
              "WIA_BITMAPHEADER: pBMPInfoHeader->biClrImportant\t= 10\n");
    EXPECT_EQ(Logged(kLogGeneral | kLogInformation, dump), "");
}

TEST_F(DebugDump, Properties) {
    const auto logged = [this](PROPID id, LONG number) {
        return Logged(kLogGeneral | kLogInformation, [&](CLog& log) {
            PROPSPEC spec = {};
            spec.propid = id;
            PROPVARIANT value = {};
            value.vt = VT_I4;
            value.lVal = number;
            DumpPropSpec(log, spec, value, 3);
        });
    };
    EXPECT_EQ(logged(WIA_DIP_DEV_ID, -7), "PROPSPEC: 3:  2  Val      -7 \t WIA_DIP_DEV_ID\n");
    EXPECT_EQ(logged(WIA_IPS_XEXTENT, 12345678),
              "PROPSPEC: 3:  6151  Val 12345678 \t WIA_IPS_XEXTENT\n");
    EXPECT_EQ(logged(WIA_IPS_YEXTENT, 1), "PROPSPEC: 3:  6152  Val       1  \t WIA_IPS_YEXTENT\n");
    EXPECT_EQ(logged(71685, 0), "PROPSPEC: 3:  71685  Val       0 \t UNDEFINED DEFAULT:\n");
    EXPECT_EQ(std::size(kWiaPropertyNames), 109u);
}

TEST_F(DebugDump, TheImageSettings) {
    EXPECT_FALSE(ReadDebugImageSettings().enabled) << "no key";
    const DWORD off = 0;
    const DWORD on = 2;
    Set("RawFile", "/raw");
    Set("Enabled", REG_DWORD, &off, sizeof(off));
    EXPECT_FALSE(ReadDebugImageSettings().enabled);
    EXPECT_EQ(ReadDebugImageSettings().rawFile, "");
    Set("Enabled", REG_DWORD, &on, sizeof(on));
    Set("OutputFile", std::string(260, 'o'));
    DebugImageSettings settings = ReadDebugImageSettings();
    EXPECT_TRUE(settings.enabled);
    EXPECT_EQ(settings.rawFile, "/raw");
    EXPECT_EQ(settings.outputFile, std::string(260, 'o'));
    Set("OutputFile", std::string(261, 'o'));
    Set("RawFile", REG_DWORD, &on, sizeof(on));
    settings = ReadDebugImageSettings();
    EXPECT_TRUE(settings.enabled);
    EXPECT_EQ(settings.rawFile, "") << "no text";
    EXPECT_EQ(settings.outputFile, "") << "too long";
    Set("Enabled", "1");
    EXPECT_FALSE(ReadDebugImageSettings().enabled) << "no number";
}

}  // namespace
