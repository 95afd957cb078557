// Records in the log, and the switch of the debug images.
#include "diag/debug_dump.h"

#include <cstring>

#include "tests/diag/log_rig.h"

namespace {

class DebugDump : public CLogRig {
  protected:
    template <class Dump>
    std::string Logged(DWORD level, Dump dump) {
        Settings(kLogGeneral | level, kLogToDebugger);
        const CConfigHold hold;
        CLog log;
        dump(log);
        return Take();
    }
};

// Each word of the record holds its own offset, so that the lines must show the published layout,
// and of the fields of 64 bits the lower half.
TEST_F(DebugDump, TransferContextsShowTheirFieldsInTheRecordsOrder) {
    LONG words[sizeof(MINIDRV_TRANSFER_CONTEXT) / sizeof(LONG)];
    for (LONG offset = 0; LONG & word : words)
        word = std::exchange(offset, offset + LONG{sizeof(LONG)});
    MINIDRV_TRANSFER_CONTEXT context = {};
    std::memcpy(&context, words, sizeof(context));
    const auto dump = [&context](CLog& log) { DumpTransferContext(log, context); };
    const std::string rule = "WIA_PMDTC : ----------------------------------------------\n";
    const std::regex line("WIA_PMDTC : pmdtc->(\\w+)[ \t]*\t= (\\w+)\n");
    EXPECT_EQ(std::regex_replace(Logged(kLogDumps, dump), line, "$1=$2 "),
              rule +
                  "lSize=0 lWidthInPixels=4 lLines=8 lDepth=12 lXRes=16 lYRes=20 lCompression=24 "
                  "tymed=44 hFile=48 cbOffset=56 lBufferSize=60 lActiveBuffer=64 lNumBuffers=68 "
                  "pBaseBuffer=0000004C00000048 pTransferBuffer=0000005400000050 "
                  "bTransferDataCB=88 bClassDrvAllocBuf=92 lClientAddress=96 "
                  "pMiniDrvCallBack=0000006C00000068 lImageSize=112 lHeaderSize=116 "
                  "cbWidthInBytes=124 lPage=128 lCurIfdOffset=132 lPrevIfdOffset=136 " +
                  rule);
    EXPECT_EQ(Logged(kLogInformation, dump), "");
}

TEST_F(DebugDump, BitmapHeadersAndProperties) {
    const BITMAPINFOHEADER header = {40, 1, -2, 3, 24, 5, 6, 7, 8, 9, 10};
    const auto dump = [&header](CLog& log) { DumpBitmapHeader(log, header); };
    const std::string text = Logged(kLogDumps, dump);
    EXPECT_EQ(std::regex_replace(text, std::regex("WIA_BITMAPHEADER:? .*>bi(\\w+)\t="), "$1"),
              "Size 40\nWidth 1\nHeight -2\nPlanes 3\nBitCount 24\nCompression 5\nSizeImage 6\n"
              "XPelsPerMeter 7\nYPelsPerMeter 8\nClrUsed 9\nClrImportant 10\n");
    EXPECT_EQ(Logged(kLogInformation, dump), "");

    PROPSPEC spec = {};
    PROPVARIANT value = {};
    const auto property = [&](PROPID id, LONG number) {
        spec.propid = id;
        value.lVal = number;
        return Logged(kLogInformation, [&](CLog& log) { DumpPropSpec(log, spec, value, 3); });
    };
    EXPECT_EQ(property(WIA_DIP_DEV_ID, -7), "PROPSPEC: 3:  2  Val      -7 \t WIA_DIP_DEV_ID\n");
    EXPECT_EQ(property(WIA_IPS_YEXTENT, 12345678),
              "PROPSPEC: 3:  6152  Val 12345678  \t WIA_IPS_YEXTENT\n");
    EXPECT_EQ(property(71685, 0), "PROPSPEC: 3:  71685  Val       0 \t UNDEFINED DEFAULT:\n");
}

TEST_F(DebugDump, ImageSettingsCountOnlyWhenTheyAreOn) {
    EXPECT_FALSE(ReadDebugImageSettings().enabled) << "no key";
    Set("Quillet", "RawFile", REG_SZ, "/raw");
    Set("Quillet", "Enabled", 0);
    EXPECT_EQ(ReadDebugImageSettings().rawFile, "");
    Set("Quillet", "Enabled", 2);
    Set("Quillet", "OutputFile", REG_SZ, std::string(260, 'o'));
    EXPECT_TRUE(ReadDebugImageSettings().enabled);
    EXPECT_EQ(ReadDebugImageSettings().rawFile, "/raw");
    EXPECT_EQ(ReadDebugImageSettings().outputFile, std::string(260, 'o'));
    Set("Quillet", "OutputFile", REG_SZ, std::string(261, 'o'));
    EXPECT_EQ(ReadDebugImageSettings().outputFile, "") << "too long";
}

}  // namespace
