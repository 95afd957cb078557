// A driver whose scanner, items and client stand in memory: real controller, engine and stream in
// between.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "controller/flatbed_scan.h"
#include "frontend/mini_driver.h"
#include "platform/registry.h"
#include "tests/platform/test_folder.h"
#include "tests/support/engine_rig.h"
#include "tests/support/fake_toolkit.h"
#include "tests/support/item_store.h"

class CTestDriver final : public CNVwiaMiniDrv {
  public:
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }

    using CNVwiaMiniDrv::m_bCancelled;
    using CNVwiaMiniDrv::m_bFeederEmpty;
    using CNVwiaMiniDrv::m_dwCallbackId;
    using CNVwiaMiniDrv::m_hRawFile;
    using CNVwiaMiniDrv::m_hTempFile;
    using CNVwiaMiniDrv::m_pEngine;
    using CNVwiaMiniDrv::m_pImageStream;
    using CNVwiaMiniDrv::m_pScan;
    using CNVwiaMiniDrv::m_pTransferContext;
    using CNVwiaMiniDrv::MakeTempName;
    using CNVwiaMiniDrv::ResolveSource;
    using CNVwiaMiniDrv::ValidateWidthHeight;
};

// The client of a transfer, with a buffer that has a guard behind it.
class CTestTransfer final : public IWiaMiniDrvCallBack {
  public:
    struct Message {
        LONG reason;
        LONG percent;
        LONG offset;
        Bytes bytes;
    };

    explicit CTestTransfer(LONG tymed, LONG bufferBytes = 0x40000) {
        context.lSize = sizeof(context);
        context.tymed = tymed;
        context.pIWiaMiniDrvCallBack = this;
        if (tymed == TYMED_FILE)
            return;
        m_buffer.assign(static_cast<std::size_t>(bufferBytes) + kGuard, kGuardByte);
        context.pTransferBuffer = m_buffer.data();
        context.lBufferSize = bufferBytes;
    }
    ~CTestTransfer() {
        for (std::size_t i = m_buffer.size() - std::min(m_buffer.size(), kGuard);
             i < m_buffer.size(); ++i)
            EXPECT_EQ(m_buffer[i], kGuardByte);
    }

    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT MiniDrvCallback(LONG reason, LONG status, LONG percent, LONG offset, LONG length,
                            MINIDRV_TRANSFER_CONTEXT* told, LONG reserved) override {
        EXPECT_EQ(status, IT_STATUS_TRANSFER_TO_CLIENT);
        EXPECT_EQ(reserved, 0);
        EXPECT_EQ(told, reason == IT_MSG_TERMINATION ? nullptr : &context);
        const BYTE* from = context.pTransferBuffer;
        messages.push_back({reason, percent, offset, {}});
        if (reason == IT_MSG_DATA && from)
            messages.back().bytes.assign(from, from + length);
        else
            EXPECT_EQ(length, 0);
        return act ? act(messages.back()) : S_OK;
    }

    // All data in the order of their coming, which must be that of their offsets.
    Bytes Data() const {
        Bytes all;
        for (const Message& message : messages) {
            if (message.reason != IT_MSG_DATA)
                continue;
            EXPECT_EQ(message.offset, static_cast<LONG>(all.size()));
            all.insert(all.end(), message.bytes.begin(), message.bytes.end());
        }
        EXPECT_EQ(context.cbOffset, static_cast<LONG>(all.size()));
        return all;
    }
    BITMAPINFOHEADER Header() const {
        BITMAPINFOHEADER header = {};
        const Bytes all = Data();
        if (all.size() >= sizeof(header))
            std::memcpy(&header, all.data(), sizeof(header));
        return header;
    }
    // What follows header and palette.
    Bytes Rows() const {
        const Bytes all = Data();
        const std::size_t skip = sizeof(BITMAPINFOHEADER) + Header().biClrUsed * 4;
        return all.size() < skip
                   ? Bytes()
                   : Bytes(all.begin() + static_cast<std::ptrdiff_t>(skip), all.end());
    }

    MINIDRV_TRANSFER_CONTEXT context = {};
    std::vector<Message> messages;
    std::function<HRESULT(const Message&)> act;

  private:
    static constexpr std::size_t kGuard = 64;
    static constexpr BYTE kGuardByte = 0xA7;
    Bytes m_buffer;
};

// The rows of a bitmap file, top line first, whichever way it has them.
struct CTestBitmap {
    explicit CTestBitmap(const Bytes& bytes) {
        if (bytes.size() < sizeof(file) + sizeof(info))
            return;
        std::memcpy(&file, bytes.data(), sizeof(file));
        std::memcpy(&info, bytes.data() + sizeof(file), sizeof(info));
        rows.assign(bytes.begin() + static_cast<std::ptrdiff_t>(
                                        std::min<std::size_t>(file.bfOffBits, bytes.size())),
                    bytes.end());
        whole = file.bfType == BITMAP_FILE_TYPE && file.bfSize == bytes.size() &&
                rows.size() == Stride() * static_cast<std::size_t>(std::abs(info.biHeight));
        if (info.biHeight < 0 || !whole)
            return;
        Bytes turned;
        for (std::size_t end = rows.size(); end > 0; end -= Stride())
            turned.insert(turned.end(), rows.begin() + static_cast<std::ptrdiff_t>(end - Stride()),
                          rows.begin() + static_cast<std::ptrdiff_t>(end));
        rows = turned;
    }
    std::size_t Stride() const {
        return static_cast<std::size_t>((info.biWidth * info.biBitCount + 31) / 32 * 4);
    }

    BITMAPFILEHEADER file = {};
    BITMAPINFOHEADER info = {};
    Bytes rows;
    bool whole = false;  // its sizes are all right
};

// Passes only when it is slept on.
class CTransferClock final : public ScanClock {
  public:
    ULONGLONG Milliseconds() override { return now; }
    void Sleep(DWORD milliseconds) override { now += milliseconds; }
    ULONGLONG now = 0;
};

class CTransferTest : public testing::Test {
  protected:
    CTransferTest() {
        Environment("NVQ_PROFILE_DIR", TestFolder() + "/none");
        Environment("XDG_DATA_HOME", TestFolder() + "/data");
        Environment("XDG_DOCUMENTS_DIR", TestFolder() + "/none");
        Environment("TMPDIR", TestFolder());
        toolkit.Without(IID_IOstrelJobGate);  // one would stay locked behind a preparation
        MakeDriver();
        store.top.longs = {{WIA_IPA_DATATYPE, WIA_DATA_COLOR},
                           {QL_PROP_SCANNER_CHANNEL, 0},
                           {QL_PROP_EXPOSURE_METHOD, 0},
                           {WIA_IPS_BRIGHTNESS, 0},
                           {WIA_IPS_CONTRAST, 0},
                           {WIA_IPS_THRESHOLD, 55}};
        store.root.longs = {{WIA_DPS_DOCUMENT_HANDLING_SELECT, FLATBED},
                            {WIA_DPS_DOCUMENT_HANDLING_STATUS, 77},
                            {QL_PROP_TMA_SELECT, 0}};
        Request(61, 47);
    }
    // Whatever a test has done: nothing is held, nothing lies about, the toolkit has no complaint.
    ~CTransferTest() override {
        EXPECT_EQ(driver->m_pTransferContext, nullptr);
        EXPECT_EQ(driver->m_hTempFile, nullptr);
        EXPECT_EQ(driver->m_hRawFile, nullptr);
        driver.reset();
        EXPECT_EQ(toolkit.Violations(), std::vector<std::string>());
        EXPECT_EQ(toolkit.Levels(), 0);
        EXPECT_EQ(toolkit.OpenSessions(), 0);
        EXPECT_EQ(TempFiles(), std::vector<std::string>());
        RegClearProcessValues();
    }

    static void Environment(const char* name, const std::string& value) {
        setenv(name, value.c_str(), 1);
    }
    static std::vector<std::string> TempFiles() {
        std::vector<std::string> names;
        for (const std::string& folder : {TestFolder(), TestFolder() + "/data"}) {
            std::error_code ignored;
            for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
                if (entry.path().extension() == ".TMP")
                    names.push_back(entry.path());
            }
        }
        return names;
    }

    void MakeDriver() {
        driver = std::make_unique<CTestDriver>();
        driver->m_pScan = NVScanClassFactory(&toolkit, clock);
        ASSERT_EQ(driver->m_pScan->initDriver(u"port", 1), S_OK);
        driver->m_pEngine = std::make_unique<CQLEngine>();
        driver->m_pEngine->Init();
        driver->m_pEngine->AddClient(driver.get(), &driver->m_dwCallbackId);
        driver->m_pImageStream = ComPtr<CImageStream>(new CImageStream);
    }

    // A window from the corner, in pixels at its resolution, and a bitmap of its size.
    void Request(LONG width, LONG height, LONG xRes = 300, LONG yRes = 300) {
        for (const auto& [id, value] : {std::pair{WIA_IPS_XPOS, LONG{0}},
                                        {WIA_IPS_YPOS, LONG{0}},
                                        {WIA_IPS_XEXTENT, width},
                                        {WIA_IPS_YEXTENT, height},
                                        {WIA_IPS_XRES, xRes},
                                        {WIA_IPS_YRES, yRes},
                                        {WIA_IPA_PIXELS_PER_LINE, width},
                                        {WIA_IPA_NUMBER_OF_LINES, height}})
            store.top.longs[id] = value;
    }
    // The stream into the engine is kept in a file from now on.
    void KeepRaw(const std::string& name = "") {
        constexpr char kKey[] = "Software\\Norvane\\Lumetra\\Quillet";
        const DWORD on = 1;
        RegSetProcessValue(HKEY_LOCAL_MACHINE, kKey, "Enabled", REG_DWORD, &on, sizeof(on));
        RegSetProcessValue(HKEY_LOCAL_MACHINE, kKey, "RawFile", REG_SZ, name.c_str(),
                           static_cast<DWORD>(name.size() + 1));
    }
    static Bytes Whole(const std::string& path) {
        const std::string text = ReadWholeFile(path);
        return {text.begin(), text.end()};
    }
    static Bytes Raw() { return Whole(TestFolder() + "/scanraw.bmp"); }

    HRESULT Acquire(CTestTransfer& transfer) {
        LONG error = 99;
        const HRESULT hr =
            driver->drvAcquireItemData(store.top.Context(), 0, &transfer.context, &error);
        EXPECT_EQ(error, 0);
        return hr;
    }
    // A page on the callback medium, of which nothing is looked at.
    HRESULT Scan() {
        CTestTransfer transfer(TYMED_CALLBACK);
        return Acquire(transfer);
    }

    CFakeToolkit toolkit;
    CTransferClock clock;
    CItemStore store;
    std::unique_ptr<CTestDriver> driver;
};

// ---- What the stream into the engine must be, from the scanner's lines alone

inline testing::AssertionResult Same(const Bytes& got, const Bytes& expected) {
    if (got.size() != expected.size())
        return testing::AssertionFailure()
               << got.size() << " bytes came, " << expected.size() << " expected";
    const auto [a, b] = std::mismatch(got.begin(), got.end(), expected.begin());
    if (a == got.end())
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "byte " << a - got.begin() << " is " << int{*a} << ", not " << int{*b};
}

// Lines of samples: 3 a pixel, blue first, or 1.
struct CTestLines {
    std::size_t width;
    std::size_t samples;  // a pixel
    std::vector<Bytes> lines;

    // What the fake scanner delivers, white behind the last line of the media.
    static CTestLines Scanned(std::size_t width, std::size_t samples, std::size_t count,
                              std::size_t ofMedia = ~std::size_t{0}) {
        CTestLines made{width, samples, {}};
        for (std::size_t y = 0; y < count; ++y) {
            Bytes line(width * samples, 0xFF);
            for (std::size_t i = 0; y < ofMedia && i < line.size(); ++i) {
                const std::size_t from = samples == 3 ? i / 3 * 3 + 2 - i % 3 : i;
                line[i] = CFakeToolkit::Pixel(static_cast<DWORD>(y), static_cast<DWORD>(from));
            }
            made.lines.push_back(line);
        }
        return made;
    }
    // Cut to a width, or white behind the scan.
    CTestLines Fitted(std::size_t wanted) const {
        CTestLines made = *this;
        made.width = wanted;
        for (Bytes& line : made.lines)
            line.resize(wanted * samples, 0xFF);
        return made;
    }
    // Each band scaled by itself, to the given numbers of lines.
    CTestLines Scaled(std::size_t wanted, const std::vector<std::size_t>& bands) const;

    // Bitmap rows, white where they are filled up.
    Bytes Rows() const {
        Bytes rows;
        for (Bytes line : lines) {
            line.resize((line.size() + 3) / 4 * 4, 0xFF);
            rows.insert(rows.end(), line.begin(), line.end());
        }
        return rows;
    }
};

// The scaler's rule in its plain form: one output sample after the other, from the told weights.
inline Bytes PlainScale(const std::vector<Bytes>& source, std::size_t width, std::size_t samples,
                        std::size_t targetWidth, std::size_t targetLines, std::size_t y) {
    const std::size_t lines = source.size();
    const std::size_t sy = y * lines / targetLines;
    const float fy =
        static_cast<float>(y * lines) / static_cast<float>(targetLines) - static_cast<float>(sy);
    const bool bottom = y > 0 && sy == lines - 1;
    const std::size_t ny = bottom ? std::max<std::size_t>(sy, 1) - 1 : std::min(sy + 1, lines - 1);
    Bytes out;
    for (std::size_t x = 0; x < targetWidth; ++x) {
        const std::size_t sx = x * width / targetWidth;
        const float fx = static_cast<float>(x * width) / static_cast<float>(targetWidth) -
                         static_cast<float>(sx);
        const bool copied = (x > 0 && sx == width - 1) || (bottom && samples == 1);
        const std::size_t nx = std::min(sx + 1, width - 1);
        for (std::size_t c = 0; c < samples; ++c) {
            const float p = source[sy][sx * samples + c];
            const float sum = (1 - fx) * (1 - fy) * p +
                              fx * (1 - fy) * source[sy][nx * samples + c] +
                              (1 - fx) * fy * source[ny][sx * samples + c] +
                              fx * fy * source[ny][nx * samples + c];
            out.push_back(static_cast<std::uint8_t>(copied ? p : sum));
        }
    }
    return out;
}

inline CTestLines CTestLines::Scaled(std::size_t wanted,
                                     const std::vector<std::size_t>& bands) const {
    CTestLines made{wanted, samples, {}};
    for (std::size_t band = 0; band < bands.size(); ++band) {
        const std::size_t first = band * 20;
        const std::size_t last = std::min(first + 20, lines.size());
        const std::vector<Bytes> part(lines.begin() + static_cast<std::ptrdiff_t>(first),
                                      lines.begin() + static_cast<std::ptrdiff_t>(last));
        for (std::size_t y = 0; y < bands[band]; ++y)
            made.lines.push_back(PlainScale(part, width, samples, wanted, bands[band], y));
    }
    return made;
}
