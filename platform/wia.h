// The imaging service as a minidriver sees it: the interfaces that a driver implements and calls,
// the records that cross them, and the service's functions. Published names, orders and layouts.
//
// A driver knows an item by its context, which the service hands to each call; the wias...
// functions take it. They are the service's (libnvqservice.so).
#pragma once

#include "platform/com.h"
#include "platform/types.h"
#include "platform/wia_properties.h"

struct IWiaMiniDrv;
struct IWiaDrvItem;

// ---- Values of many types

using VARTYPE = USHORT;
inline constexpr VARTYPE VT_EMPTY = 0;
inline constexpr VARTYPE VT_I4 = 3;
inline constexpr VARTYPE VT_BSTR = 8;
inline constexpr VARTYPE VT_UI1 = 17;
inline constexpr VARTYPE VT_CLSID = 72;
inline constexpr VARTYPE VT_VECTOR = 0x1000;

struct CAUB {
    ULONG cElems;
    BYTE* pElems;
};

struct PROPVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONG lVal;
        BSTR bstrVal;
        CLSID* puuid;
        CAUB caub;
    };
};
static_assert(sizeof(PROPVARIANT) == 24);

inline constexpr ULONG PRSPEC_LPWSTR = 0;
inline constexpr ULONG PRSPEC_PROPID = 1;

struct PROPSPEC {
    ULONG ulKind;
    union {
        PROPID propid;
        LPOLESTR lpwstr;
    };
};
static_assert(sizeof(PROPSPEC) == 16);

// Frees what a value owns and empties it.
HRESULT PropVariantClear(PROPVARIANT* value);

// ---- Records of the service

// Access, type and valid values of one property. Lists belong to whoever made the record.
struct WIA_PROPERTY_INFO {
    ULONG lAccessFlags;
    VARTYPE vt;
    union {
        struct {
            LONG Min;
            LONG Nom;
            LONG Max;
            LONG Inc;
        } Range;
        struct {
            LONG cNumList;
            LONG Nom;
            BYTE* pList;  // LONGs
        } List;
        struct {
            LONG cNumList;
            GUID Nom;
            GUID* pList;
        } ListGuid;
        struct {
            LONG cNumList;
            BSTR Nom;
            BSTR* pList;
        } ListBStr;
        struct {
            LONG Nom;
            LONG ValidBits;
        } Flag;
        struct {
            LONG Dummy;
        } None;
    } ValidVal;
};
static_assert(sizeof(WIA_PROPERTY_INFO) == 40);

// The properties that a call wrote, and which of them count as changed.
struct WIA_PROPERTY_CONTEXT {
    ULONG cProps;
    PROPID* pProps;
    BOOL* pChanged;
};

struct WIAS_CHANGED_VALUE_INFO {
    BOOL bChanged;
    LONG vt;
    union {
        LONG lVal;
        BSTR bstrVal;
        GUID guidVal;
    } Old;
    union {
        LONG lVal;
        BSTR bstrVal;
        GUID guidVal;
    } Current;
};

struct WIA_DEV_CAP_DRV {
    GUID* guid;
    ULONG ulFlags;
    LPOLESTR wszName;
    LPOLESTR wszDescription;
    LPOLESTR wszIcon;
};

struct WIA_FORMAT_INFO {
    GUID guidFormatID;
    LONG lTymed;
};
static_assert(sizeof(WIA_FORMAT_INFO) == 20);

struct MINIDRV_TRANSFER_CONTEXT;

// The client of a transfer. S_FALSE asks the driver to stop.
struct IWiaMiniDrvCallBack : IUnknown {
    virtual HRESULT MiniDrvCallback(LONG lReason, LONG lStatus, LONG lPercentComplete, LONG lOffset,
                                    LONG lLength, MINIDRV_TRANSFER_CONTEXT* pTranCtx,
                                    LONG lReserved) = 0;

  protected:
    ~IWiaMiniDrvCallBack() = default;
};

inline constexpr LONG IT_MSG_DATA = 2;
inline constexpr LONG IT_MSG_STATUS = 3;
inline constexpr LONG IT_MSG_TERMINATION = 4;
inline constexpr LONG IT_STATUS_TRANSFER_TO_CLIENT = 4;

struct MINIDRV_TRANSFER_CONTEXT {
    LONG lSize;
    LONG lWidthInPixels;
    LONG lLines;
    LONG lDepth;
    LONG lXRes;
    LONG lYRes;
    LONG lCompression;
    GUID guidFormatID;
    LONG tymed;
    LONG_PTR hFile;
    LONG cbOffset;
    LONG lBufferSize;
    LONG lActiveBuffer;
    LONG lNumBuffers;
    BYTE* pBaseBuffer;
    BYTE* pTransferBuffer;
    BOOL bTransferDataCB;
    BOOL bClassDrvAllocBuf;
    LONG_PTR lClientAddress;
    IWiaMiniDrvCallBack* pIWiaMiniDrvCallBack;
    LONG lImageSize;
    LONG lHeaderSize;
    LONG lItemSize;
    LONG cbWidthInBytes;
    LONG lPage;
    LONG lCurIfdOffset;
    LONG lPrevIfdOffset;
};
static_assert(sizeof(MINIDRV_TRANSFER_CONTEXT) == 144);
static_assert(offsetof(MINIDRV_TRANSFER_CONTEXT, tymed) == 44);
static_assert(offsetof(MINIDRV_TRANSFER_CONTEXT, pTransferBuffer) == 80);
static_assert(offsetof(MINIDRV_TRANSFER_CONTEXT, pIWiaMiniDrvCallBack) == 104);

// ---- Interfaces

inline constexpr IID IID_IWiaMiniDrv = {
    0xD8CDEE14, 0x3C6C, 0x11D2, {0x9A, 0x35, 0x00, 0xC0, 0x4F, 0xA3, 0x61, 0x45}};
inline constexpr IID IID_IWiaMiniDrvCallBack = {
    0x33A57D5A, 0x3DE8, 0x11D2, {0x9A, 0x36, 0x00, 0xC0, 0x4F, 0xA3, 0x61, 0x45}};
inline constexpr IID IID_IWiaDrvItem = {
    0x1F02B5C5, 0xB00C, 0x11D2, {0xA0, 0x94, 0x00, 0xC0, 0x4F, 0x72, 0xDC, 0x3C}};

// Item flags.
inline constexpr LONG WiaItemTypeImage = 1;
inline constexpr LONG WiaItemTypeFile = 2;
inline constexpr LONG WiaItemTypeFolder = 4;
inline constexpr LONG WiaItemTypeRoot = 8;
inline constexpr LONG WiaItemTypeDevice = 0x40;
inline constexpr LONG WiaItemTypeDisconnected = 0x100;

// One item of a device's tree. Names that come out are the caller's to free, items are counted.
struct IWiaDrvItem : IUnknown {
    virtual HRESULT GetItemFlags(LONG* flags) = 0;
    virtual HRESULT GetDeviceSpecContext(BYTE** context) = 0;
    virtual HRESULT GetFullItemName(BSTR* name) = 0;
    virtual HRESULT GetItemName(BSTR* name) = 0;
    virtual HRESULT AddItemToFolder(IWiaDrvItem* folder) = 0;
    virtual HRESULT UnlinkItemTree(LONG flags) = 0;
    virtual HRESULT RemoveItemFromFolder(LONG flags) = 0;
    virtual HRESULT FindItemByName(LONG flags, BSTR name, IWiaDrvItem** item) = 0;
    virtual HRESULT FindChildItemByName(BSTR name, IWiaDrvItem** item) = 0;
    virtual HRESULT GetParentItem(IWiaDrvItem** item) = 0;
    virtual HRESULT GetFirstChildItem(IWiaDrvItem** item) = 0;
    virtual HRESULT GetNextSiblingItem(IWiaDrvItem** item) = 0;
    virtual HRESULT DumpItemData(BSTR* text) = 0;

  protected:
    ~IWiaDrvItem() = default;
};

// Capabilities of drvGetCapabilities.
inline constexpr LONG WIA_DEVICE_COMMANDS = 1;
inline constexpr LONG WIA_DEVICE_EVENTS = 2;

inline constexpr ULONG WIA_NOTIFICATION_EVENT = 1;
inline constexpr ULONG WIA_ACTION_EVENT = 2;

inline constexpr GUID WIA_CMD_SYNCHRONIZE = {
    0x9B26B7B2, 0xACAD, 0x11D2, {0xA0, 0x93, 0x00, 0xC0, 0x4F, 0x72, 0xDC, 0x3C}};
inline constexpr GUID WIA_CMD_BUILD_DEVICE_TREE = {
    0x9CBA5CE0, 0xDBEA, 0x11D2, {0x84, 0x16, 0x00, 0xC0, 0x4F, 0xA3, 0x61, 0x45}};
inline constexpr GUID WIA_EVENT_DEVICE_CONNECTED = {
    0xA28BBADE, 0x64B6, 0x11D2, {0xA2, 0x31, 0x00, 0xC0, 0x4F, 0xA3, 0x18, 0x09}};
inline constexpr GUID WIA_EVENT_DEVICE_DISCONNECTED = {
    0x143E4E83, 0x6497, 0x11D2, {0xA2, 0x31, 0x00, 0xC0, 0x4F, 0xA3, 0x18, 0x09}};

// Results of their own.
inline constexpr HRESULT WIA_ERROR_PAPER_EMPTY = MakeResult(0x80210003u);
inline constexpr HRESULT WIA_ERROR_BUSY = MakeResult(0x80210006u);
inline constexpr HRESULT WIA_ERROR_ITEM_DELETED = MakeResult(0x80210009u);
inline constexpr HRESULT WIA_ERROR_INVALID_DRIVER_RESPONSE = MakeResult(0x8021000Fu);
inline constexpr HRESULT STG_E_ACCESSDENIED = MakeResult(0x80030005u);

// What a driver implements: its imaging face. Calls come one at a time.
struct IWiaMiniDrv : IUnknown {
    // Root item and inner object that come out stay the driver's: they are not counted for the
    // service, which takes a reference of its own to the item.
    virtual HRESULT drvInitializeWia(BYTE* pWiasContext, LONG lFlags, BSTR bstrDeviceID,
                                     BSTR bstrRootFullItemName, IUnknown* pStiDevice,
                                     IUnknown* pIUnknownOuter, IWiaDrvItem** ppIDrvItemRoot,
                                     IUnknown** ppIUnknownInner, LONG* plDevErrVal) = 0;
    virtual HRESULT drvAcquireItemData(BYTE* pWiasContext, LONG lFlags,
                                       MINIDRV_TRANSFER_CONTEXT* pmdtc, LONG* plDevErrVal) = 0;
    virtual HRESULT drvInitItemProperties(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) = 0;
    virtual HRESULT drvValidateItemProperties(BYTE* pWiasContext, LONG lFlags, ULONG nPropSpec,
                                              const PROPSPEC* pPropSpec, LONG* plDevErrVal) = 0;
    virtual HRESULT drvWriteItemProperties(BYTE* pWiasContext, LONG lFlags,
                                           MINIDRV_TRANSFER_CONTEXT* pmdtc, LONG* plDevErrVal) = 0;
    virtual HRESULT drvReadItemProperties(BYTE* pWiasContext, LONG lFlags, ULONG nPropSpec,
                                          const PROPSPEC* pPropSpec, LONG* plDevErrVal) = 0;
    virtual HRESULT drvLockWiaDevice(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) = 0;
    virtual HRESULT drvUnLockWiaDevice(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) = 0;
    virtual HRESULT drvAnalyzeItem(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) = 0;
    virtual HRESULT drvGetDeviceErrorStr(LONG lFlags, LONG lDevErrVal, LPOLESTR* ppszDevErrStr,
                                         LONG* plDevErr) = 0;
    virtual HRESULT drvDeviceCommand(BYTE* pWiasContext, LONG lFlags, const GUID* pGuid,
                                     IWiaDrvItem** ppDrvItem, LONG* plDevErrVal) = 0;
    virtual HRESULT drvGetCapabilities(BYTE* pWiasContext, LONG ulFlags, LONG* pcelt,
                                       WIA_DEV_CAP_DRV** ppCapabilities, LONG* plDevErrVal) = 0;
    virtual HRESULT drvDeleteItem(BYTE* pWiasContext, LONG lFlags, LONG* plDevErrVal) = 0;
    virtual HRESULT drvFreeDrvItemContext(LONG lFlags, BYTE* pSpecContext, LONG* plDevErrVal) = 0;
    virtual HRESULT drvGetWiaFormatInfo(BYTE* pWiasContext, LONG lFlags, LONG* pcelt,
                                        WIA_FORMAT_INFO** ppwfi, LONG* plDevErrVal) = 0;
    virtual HRESULT drvNotifyPnPEvent(const GUID* pEventGUID, BSTR bstrDeviceID,
                                      ULONG ulReserved) = 0;
    virtual HRESULT drvUnInitializeWia(BYTE* pWiasContext) = 0;

  protected:
    ~IWiaMiniDrv() = default;
};

// ---- Functions of the service. E_INVALIDARG for a null argument, or a context that is none.

HRESULT wiasCreateDrvItem(LONG flags, BSTR itemName, BSTR fullItemName, IWiaMiniDrv* driver,
                          LONG contextBytes, BYTE** deviceContext, IWiaDrvItem** item);
// Counted, as every item that comes out of an operation.
HRESULT wiasGetDrvItem(BYTE* context, IWiaDrvItem** item);
HRESULT wiasGetRootItem(BYTE* context, BYTE** rootContext);
HRESULT wiasGetContextFromName(BYTE* context, LONG flags, BSTR fullName, BYTE** namedContext);

// Reads give S_FALSE for a property that the item doesn't have, or E_INVALIDARG when it must exist.
// `old`, which may be null, gets the value before the write that is being validated.
HRESULT wiasReadPropLong(BYTE* context, PROPID id, LONG* value, LONG* old, BOOL mustExist);
// Texts are the caller's to free with SysFreeString.
HRESULT wiasReadPropStr(BYTE* context, PROPID id, BSTR* value, BSTR* old, BOOL mustExist);
HRESULT wiasReadPropGuid(BYTE* context, PROPID id, GUID* value, GUID* old, BOOL mustExist);
// Bytes are the caller's to free with CoTaskMemFree.
HRESULT wiasReadPropBin(BYTE* context, PROPID id, BYTE** value, BYTE** old, BOOL mustExist);
// Values are the caller's to clear.
HRESULT wiasReadMultiple(BYTE* context, ULONG count, const PROPSPEC* specs, PROPVARIANT* values,
                         PROPVARIANT* old);

HRESULT wiasWritePropLong(BYTE* context, PROPID id, LONG value);
HRESULT wiasWritePropStr(BYTE* context, PROPID id, BSTR value);
HRESULT wiasWritePropGuid(BYTE* context, PROPID id, GUID value);
HRESULT wiasWritePropBin(BYTE* context, PROPID id, LONG bytes, BYTE* value);
HRESULT wiasWriteMultiple(BYTE* context, ULONG count, const PROPSPEC* specs,
                          const PROPVARIANT* values);

HRESULT wiasSetItemPropNames(BYTE* context, LONG count, PROPID* ids, LPOLESTR* names);
HRESULT wiasSetItemPropAttribs(BYTE* context, LONG count, PROPSPEC* specs,
                               WIA_PROPERTY_INFO* infos);
HRESULT wiasSetValidRangeLong(BYTE* context, PROPID id, LONG min, LONG nominal, LONG max,
                              LONG step);
// The context's values against access and valid values.
HRESULT wiasValidateItemProperties(BYTE* context, ULONG count, const PROPSPEC* specs);

HRESULT wiasCreatePropContext(ULONG count, PROPSPEC* specs, ULONG extraCount, PROPID* extraIds,
                              WIA_PROPERTY_CONTEXT* properties);
HRESULT wiasFreePropContext(WIA_PROPERTY_CONTEXT* properties);
HRESULT wiasSetPropChanged(PROPID id, WIA_PROPERTY_CONTEXT* properties, BOOL changed);
HRESULT wiasGetChangedValueLong(BYTE* context, WIA_PROPERTY_CONTEXT* properties, BOOL noValidation,
                                PROPID id, WIAS_CHANGED_VALUE_INFO* info);

inline constexpr LONG WIA_INIT_CONTEXT_1 = 1;
// Fills size fields of a transfer context from the item's properties.
HRESULT wiasGetImageInformation(BYTE* context, LONG flags, MINIDRV_TRANSFER_CONTEXT* transfer);
// Writes lItemSize bytes of pTransferBuffer to the transfer's file.
HRESULT wiasWriteBufToFile(LONG flags, MINIDRV_TRANSFER_CONTEXT* transfer);
