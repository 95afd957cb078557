// The numbered attributes of the imaging engine: id, name and kind of each, in one table.
//
// All settings, commands and results of the engine travel under these ids on the attribute board
// (frame/attrib_store.h). Ids stay in this list also when no provider holds them: a reader takes a
// default then, and a new provider can take one up at any time.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// What the 64-bit word of an attribute holds.
enum class QLAttribKind : std::uint8_t {
    Bool,     // 0 or not 0
    Integer,  // a signed number in the low 32 bits
    Fixed,    // a real number as signed 16.16 in the low 32 bits
    Pointer,  // a pointer to data that the provider owns, or null
    Rect,     // a pointer to four 32-bit integers top, left, bottom, right, or null
    Event,    // no value: the id is only fired
};

// clang-format off
// X(id, name, kind)
#define QL_ATTRIB_TABLE(X) \
    X(20001, QL_ATTR_SKIP_SHARPEN, Bool) \
    X(20002, QL_ATTR_CMD_ANALYSE, Event) \
    X(20003, QL_ATTR_INPUT_STREAM, Pointer) \
    X(20004, QL_ATTR_OUTPUT_STREAM, Pointer) \
    X(20005, QL_ATTR_BRIGHTNESS, Integer) \
    X(20006, QL_ATTR_CONTRAST, Integer) \
    X(20007, QL_ATTR_CLIP_HIGH, Bool) \
    X(20008, QL_ATTR_CLIP_LOW, Bool) \
    X(20009, QL_ATTR_PALETTE_MODE, Integer) \
    X(20010, QL_ATTR_PALETTE_FLAG, Bool) \
    X(20011, QL_ATTR_PALETTE_TABLE_A, Pointer) \
    X(20012, QL_ATTR_PALETTE_TABLE_B, Pointer) \
    X(20013, QL_ATTR_PALETTE_TABLE_C, Pointer) \
    X(20014, QL_ATTR_PALETTE_AUX, Integer) \
    X(20016, QL_ATTR_HIGHLIGHT, Integer) \
    X(20018, QL_ATTR_SHADOW, Integer) \
    X(20020, QL_ATTR_MIDTONE, Integer) \
    X(20021, QL_ATTR_GAMMA, Fixed) \
    X(20022, QL_ATTR_TONE_DIRTY_A, Event) \
    X(20023, QL_ATTR_TONE_DIRTY_B, Event) \
    X(20024, QL_ATTR_EXPOSURE_PRESET, Integer) \
    X(20025, QL_ATTR_AUTO_WHITE_REF, Integer) \
    X(20026, QL_ATTR_AUTO_BLACK_REF, Integer) \
    X(20027, QL_ATTR_SRGB_OUTPUT, Bool) \
    X(20028, QL_ATTR_ENGINE_FLAG_28, Bool) \
    X(20035, QL_ATTR_ANALYSIS_RECT, Rect) \
    X(20036, QL_ATTR_AUTO_TONE, Bool) \
    X(20037, QL_ATTR_ENCODING_LUT, Pointer) \
    X(20038, QL_ATTR_HISTOGRAM_ON, Bool) \
    X(20039, QL_ATTR_HISTOGRAM_CURRENT, Pointer) \
    X(20040, QL_ATTR_HISTOGRAM_CHANNEL, Integer) \
    X(20041, QL_ATTR_HISTOGRAM_PIXEL_COUNT, Integer) \
    X(20042, QL_ATTR_HISTOGRAM_R, Pointer) \
    X(20043, QL_ATTR_HISTOGRAM_G, Pointer) \
    X(20044, QL_ATTR_HISTOGRAM_B, Pointer) \
    X(20045, QL_ATTR_RESET_TONE, Event) \
    X(20049, QL_ATTR_CURVE_SELECT, Bool) \
    X(20050, QL_ATTR_COLOR_DIRTY_A, Event) \
    X(20051, QL_ATTR_COLOR_DIRTY_B, Event) \
    X(20052, QL_ATTR_HUE_X, Fixed) \
    X(20053, QL_ATTR_HUE_Y, Fixed) \
    X(20054, QL_ATTR_COLOR_DIRTY_C, Event) \
    X(20055, QL_ATTR_COLOR_DIRTY_D, Event) \
    X(20057, QL_ATTR_AUTO_COLOR, Bool) \
    X(20058, QL_ATTR_RESET_COLOR, Event) \
    X(20068, QL_ATTR_CMD_START, Event) \
    X(20069, QL_ATTR_CMD_STOP, Event) \
    X(20070, QL_ATTR_RES_SCAN_Y, Integer) \
    X(20071, QL_ATTR_RES_OPTICAL, Integer) \
    X(20072, QL_ATTR_RES_SCAN_X, Integer) \
    X(20074, QL_ATTR_PERCENT_DONE, Integer) \
    X(20075, QL_ATTR_END_OF_IMAGE, Event) \
    X(20076, QL_ATTR_CHAIN_RESERVED_76, Integer) \
    X(20077, QL_ATTR_DETECT_RECORD, Pointer) \
    X(20078, QL_ATTR_DETECT_RUN, Bool) \
    X(20079, QL_ATTR_LINES_DONE, Integer) \
    X(20080, QL_ATTR_AUTO_DESKEW_A, Bool) \
    X(20081, QL_ATTR_AUTO_DESKEW_B, Bool) \
    X(20083, QL_ATTR_TONE_MODE, Integer) \
    X(20084, QL_ATTR_TONE_TOUCHED, Event) \
    X(20085, QL_ATTR_AUTO_TONE_ON, Bool) \
    X(20086, QL_ATTR_COLOR_TOUCHED, Event) \
    X(20087, QL_ATTR_AUTO_COLOR_ON, Bool) \
    X(20088, QL_ATTR_FLAG_88, Event) \
    X(20089, QL_ATTR_FLAG_89, Bool) \
    X(20090, QL_ATTR_THRESHOLD_TOUCHED, Event) \
    X(20091, QL_ATTR_AUTO_THRESHOLD_ON, Bool) \
    X(20092, QL_ATTR_PALETTE_TOUCHED, Event) \
    X(20093, QL_ATTR_SATURATION_BOOST, Bool) \
    X(20094, QL_ATTR_AUTO_EXPOSE_COLOR, Bool) \
    X(20098, QL_ATTR_AUTO_AVAILABLE, Bool) \
    X(20102, QL_ATTR_REARM, Event) \
    X(20103, QL_ATTR_CHAIN_RESERVED_103, Integer) \
    X(20116, QL_ATTR_CHAIN_FLAG_116, Bool) \
    X(20117, QL_ATTR_CHAIN_FLAG_117, Bool) \
    X(20119, QL_ATTR_OUTPUT_TYPE, Integer) \
    X(20121, QL_ATTR_ENGINE_RESERVED_121, Integer) \
    X(20122, QL_ATTR_HIGH_DEPTH_OUTPUT, Bool) \
    X(20123, QL_ATTR_NOISE_SMOOTH_ON, Bool) \
    X(20127, QL_ATTR_USE_ALT_SMOOTH, Bool) \
    X(20128, QL_ATTR_ALT_DEBLUR_A, Fixed) \
    X(20129, QL_ATTR_ALT_DEBLUR_B, Fixed) \
    X(20141, QL_ATTR_EARLY_SHARPEN, Bool) \
    X(20142, QL_ATTR_ALT_SHARPEN_A, Fixed) \
    X(20143, QL_ATTR_ALT_SHARPEN_B, Fixed) \
    X(20144, QL_ATTR_DESTREAK_A, Integer) \
    X(20145, QL_ATTR_DESTREAK_B, Integer) \
    X(20146, QL_ATTR_CHAIN_EVENT_146, Event) \
    X(20153, QL_ATTR_ENGINE_RESERVED_153, Integer) \
    X(20154, QL_ATTR_TAP_HEADER, Pointer) \
    X(20155, QL_ATTR_TAP_BAND, Pointer) \
    X(20156, QL_ATTR_TAP_RECT, Rect) \
    X(20157, QL_ATTR_TAP_ON, Bool) \
    X(20158, QL_ATTR_CMD_OPEN_ANALYSED, Event) \
    X(20159, QL_ATTR_CMD_FEED, Event) \
    X(20160, QL_ATTR_CMD_BEGIN, Event) \
    X(20161, QL_ATTR_CMD_END, Event) \
    X(20162, QL_ATTR_SATURATION, Fixed) \
    X(20163, QL_ATTR_MATRIX_MODE, Integer) \
    X(20164, QL_ATTR_SATURATION_RESET, Event) \
    X(20165, QL_ATTR_INVERT, Bool) \
    X(20166, QL_ATTR_INVERT_B, Bool) \
    X(20172, QL_ATTR_PALETTE_USER, Pointer) \
    X(20173, QL_ATTR_PALETTE_KIND_A, Pointer) \
    X(20174, QL_ATTR_PALETTE_KIND, Integer) \
    X(20175, QL_ATTR_PALETTE_RECT, Rect) \
    X(20176, QL_ATTR_PALETTE_REBUILD, Event) \
    X(20177, QL_ATTR_PALETTE_CHANGED, Event) \
    X(20178, QL_ATTR_PALETTE_COLLECT, Event) \
    X(20179, QL_ATTR_NEGATIVE, Bool) \
    X(20180, QL_ATTR_EXPOSURE_SHIFT, Fixed) \
    X(20181, QL_ATTR_CHANNEL_SHIFT_R, Fixed) \
    X(20182, QL_ATTR_CHANNEL_SHIFT_G, Fixed) \
    X(20183, QL_ATTR_CHANNEL_SHIFT_B, Fixed) \
    X(20184, QL_ATTR_DENSITY_MATRIX, Pointer) \
    X(20185, QL_ATTR_POST_MATRIX, Pointer) \
    X(20186, QL_ATTR_NEG_TENTH, Fixed) \
    X(20187, QL_ATTR_CHAIN_EVENT_187, Event) \
    X(20188, QL_ATTR_CHAIN_EVENT_188, Event) \
    X(20191, QL_ATTR_ROTATE_PENDING, Integer) \
    X(20192, QL_ATTR_ROTATE_ANGLE, Integer) \
    X(20193, QL_ATTR_ROTATE_CW, Event) \
    X(20194, QL_ATTR_ROTATE_CCW, Event) \
    X(20195, QL_ATTR_ROTATE_RESET, Event) \
    X(20196, QL_ATTR_ROTATE_90, Event) \
    X(20197, QL_ATTR_ROTATE_180, Event) \
    X(20198, QL_ATTR_ROTATE_270, Event) \
    X(20199, QL_ATTR_ROTATE_DEFAULT, Event) \
    X(20200, QL_ATTR_MIRROR_TOGGLE, Event) \
    X(20201, QL_ATTR_MIRROR_ACTIVE, Bool) \
    X(20202, QL_ATTR_MIRROR, Bool) \
    X(20203, QL_ATTR_MIRROR_RECT, Rect) \
    X(20205, QL_ATTR_ROTATE_DEFAULT_ANGLE, Integer) \
    X(20206, QL_ATTR_ROTATE_RESTORE, Event) \
    X(20208, QL_ATTR_ROTATE_NOT_RIGHT_ANGLE, Event) \
    X(20209, QL_ATTR_SOURCE_PRESENT, Bool) \
    X(20210, QL_ATTR_SOURCE_PRESENT_B, Bool) \
    X(20216, QL_ATTR_ADF_PAGE_DONE, Event) \
    X(20219, QL_ATTR_ADF, Bool) \
    X(20221, QL_ATTR_TMA, Bool) \
    X(20226, QL_ATTR_SOURCE_FLAG, Bool) \
    X(20228, QL_ATTR_SOURCE_BITS, Integer) \
    X(20230, QL_ATTR_ATTR_230, Bool) \
    X(20231, QL_ATTR_ATTR_231, Bool) \
    X(20233, QL_ATTR_TONE_GAMMA_R, Fixed) \
    X(20234, QL_ATTR_TONE_GAMMA_G, Fixed) \
    X(20235, QL_ATTR_TONE_GAMMA_B, Fixed) \
    X(20236, QL_ATTR_TONE_GAIN_R, Fixed) \
    X(20237, QL_ATTR_TONE_GAIN_G, Fixed) \
    X(20238, QL_ATTR_TONE_GAIN_B, Fixed) \
    X(20239, QL_ATTR_TONE_BLACK_R, Fixed) \
    X(20240, QL_ATTR_TONE_BLACK_G, Fixed) \
    X(20241, QL_ATTR_TONE_BLACK_B, Fixed) \
    X(20245, QL_ATTR_SOURCE_FIRST_READ, Event) \
    X(20256, QL_ATTR_DEFAULT_WORD, Integer) \
    X(20258, QL_ATTR_NEG_CURVE_0, Fixed) \
    X(20259, QL_ATTR_NEG_CURVE_1, Fixed) \
    X(20260, QL_ATTR_NEG_CURVE_2, Fixed) \
    X(20261, QL_ATTR_NEG_CURVE_3, Fixed) \
    X(20262, QL_ATTR_NEG_CURVE_4, Fixed) \
    X(20263, QL_ATTR_NEG_CURVE_5, Fixed) \
    X(20264, QL_ATTR_NEG_CURVE_6, Fixed) \
    X(20265, QL_ATTR_NEG_CURVE_7, Fixed) \
    X(20266, QL_ATTR_NEG_CURVE_8, Fixed) \
    X(20267, QL_ATTR_SLIDE_CURVE_0, Fixed) \
    X(20268, QL_ATTR_SLIDE_CURVE_1, Fixed) \
    X(20269, QL_ATTR_SLIDE_CURVE_2, Fixed) \
    X(20270, QL_ATTR_SLIDE_CURVE_3, Fixed) \
    X(20271, QL_ATTR_SLIDE_CURVE_4, Fixed) \
    X(20272, QL_ATTR_SLIDE_CURVE_5, Fixed) \
    X(20273, QL_ATTR_SLIDE_CURVE_6, Fixed) \
    X(20274, QL_ATTR_SLIDE_CURVE_7, Fixed) \
    X(20275, QL_ATTR_SLIDE_CURVE_8, Fixed) \
    X(20276, QL_ATTR_SLIDE_B_CURVE_0, Fixed) \
    X(20277, QL_ATTR_SLIDE_B_CURVE_1, Fixed) \
    X(20278, QL_ATTR_SLIDE_B_CURVE_2, Fixed) \
    X(20279, QL_ATTR_SLIDE_B_CURVE_3, Fixed) \
    X(20280, QL_ATTR_SLIDE_B_CURVE_4, Fixed) \
    X(20281, QL_ATTR_SLIDE_B_CURVE_5, Fixed) \
    X(20282, QL_ATTR_SLIDE_B_CURVE_6, Fixed) \
    X(20283, QL_ATTR_SLIDE_B_CURVE_7, Fixed) \
    X(20284, QL_ATTR_SLIDE_B_CURVE_8, Fixed) \
    X(20285, QL_ATTR_SLIDE_TENTH, Fixed) \
    X(20286, QL_ATTR_DARK_PULL, Integer) \
    X(20287, QL_ATTR_TMA_MATRIX, Pointer) \
    X(20288, QL_ATTR_DEVICE_MATRIX, Pointer) \
    X(20289, QL_ATTR_TONE_WINDOW_LOW, Integer) \
    X(20290, QL_ATTR_TONE_WINDOW_HIGH, Integer) \
    X(20291, QL_ATTR_DEVICE_WINDOW_LOW, Integer) \
    X(20292, QL_ATTR_DEVICE_WINDOW_HIGH, Integer) \
    X(20293, QL_ATTR_DARK_WINDOW_LOW, Integer) \
    X(20294, QL_ATTR_DARK_WINDOW_HIGH, Integer) \
    X(20295, QL_ATTR_TMA_WINDOW_LOW, Integer) \
    X(20296, QL_ATTR_TMA_WINDOW_HIGH, Integer) \
    X(20298, QL_ATTR_NOISE_SMOOTH_A, Integer) \
    X(20299, QL_ATTR_NOISE_SMOOTH_B, Integer) \
    X(20300, QL_ATTR_HALFTONE_CELL, Integer) \
    X(20301, QL_ATTR_TMA_ANALYSER_OFFSET, Fixed) \
    X(20303, QL_ATTR_SMOOTH_ON, Bool) \
    X(20304, QL_ATTR_LINE_SHARPEN_ON, Integer) \
    X(20305, QL_ATTR_SRC_RES_X, Integer) \
    X(20306, QL_ATTR_SRC_RES_Y, Integer) \
    X(20316, QL_ATTR_ENGINE_RESERVED_316, Integer) \
    X(20317, QL_ATTR_CLIP_RECT, Rect) \
    X(20318, QL_ATTR_SHARPEN_LEVEL, Integer) \
    X(20319, QL_ATTR_SHARPEN_SWITCH, Bool) \
    X(20320, QL_ATTR_SHARPEN_APPLY, Bool) \
    X(20321, QL_ATTR_SHARPEN_STRENGTH, Integer) \
    X(20322, QL_ATTR_SHARPEN_ON, Bool) \
    X(20323, QL_ATTR_SHARPEN_TABLE_0, Integer) \
    X(20324, QL_ATTR_SHARPEN_TABLE_1, Integer) \
    X(20325, QL_ATTR_SHARPEN_TABLE_2, Integer) \
    X(20326, QL_ATTR_SHARPEN_TABLE_3, Integer) \
    X(20327, QL_ATTR_SHARPEN_TABLE_4, Integer) \
    X(20328, QL_ATTR_AUTO_WHITE, Integer) \
    X(20329, QL_ATTR_AUTO_BLACK, Integer) \
    X(20330, QL_ATTR_AUTO_MID, Integer) \
    X(20331, QL_ATTR_STATUS, Integer) \
    X(20333, QL_ATTR_SOURCE_STREAM_REG, Integer) \
    X(20335, QL_ATTR_HOLD_OUTPUT, Bool) \
    X(20336, QL_ATTR_HISTOGRAM_RUN, Event) \
    X(20337, QL_ATTR_THRESHOLD, Integer) \
    X(20338, QL_ATTR_THRESHOLD_DEFAULT, Integer) \
    X(20339, QL_ATTR_THRESHOLD_PRESET, Integer) \
    X(20340, QL_ATTR_THRESHOLD_AUTO, Event) \
    X(20341, QL_ATTR_THRESHOLD_HIST, Pointer) \
    X(20342, QL_ATTR_THRESHOLD_BINS, Integer) \
    X(20343, QL_ATTR_THRESHOLD_LEVEL, Integer) \
    X(20344, QL_ATTR_THRESHOLD_COLLECT, Bool) \
    X(20345, QL_ATTR_CHAIN_FLAG_345, Bool) \
    X(20346, QL_ATTR_THRESHOLD_RECT, Rect) \
    X(20347, QL_ATTR_THRESHOLD_CELL, Integer) \
    X(20350, QL_ATTR_ANALYSIS_OVERRIDE, Rect) \
    X(20351, QL_ATTR_ENGINE_EVENT_351, Event) \
    X(20352, QL_ATTR_ENGINE_EVENT_352, Event) \
    X(20354, QL_ATTR_ENGINE_EVENT_354, Event) \
    X(20364, QL_ATTR_CLEAR_PENDING, Event) \
    X(20365, QL_ATTR_ENGINE_RESERVED_365, Integer) \
    X(20366, QL_ATTR_GRAY_WEIGHTS, Pointer) \
    X(20367, QL_ATTR_GRAY_TONE_BLACK, Fixed) \
    X(20368, QL_ATTR_GRAY_TONE_GAIN, Fixed) \
    X(20369, QL_ATTR_GRAY_TONE_GAMMA, Fixed) \
    X(20376, QL_ATTR_ADF_EVENT_ENABLE, Bool) \
    X(20377, QL_ATTR_ENGINE_RESERVED_377, Integer) \
    X(20379, QL_ATTR_ENGINE_RESERVED_379, Integer) \
    X(20380, QL_ATTR_CHANNEL_SHARPEN_0, Integer) \
    X(20381, QL_ATTR_CHANNEL_SHARPEN_1, Integer) \
    X(20382, QL_ATTR_CHANNEL_SHARPEN_2, Integer) \
    X(20383, QL_ATTR_CHANNEL_SHARPEN_3, Integer) \
    X(20384, QL_ATTR_CHANNEL_SHARPEN_4, Integer) \
    X(20385, QL_ATTR_DESTREAK_C, Integer) \
    X(20386, QL_ATTR_DESTREAK_D, Integer) \
    X(20387, QL_ATTR_DESTREAK_E, Integer) \
    X(20388, QL_ATTR_DESTREAK_F, Integer)
// clang-format on

enum QLAttribId : std::int32_t {
#define QL_ATTRIB_ENUMERATOR(id, name, kind) name = (id),
    QL_ATTRIB_TABLE(QL_ATTRIB_ENUMERATOR)
#undef QL_ATTRIB_ENUMERATOR
};

struct QLAttribInfo {
    std::int32_t m_id;
    std::string_view m_name;
    QLAttribKind m_kind;
};

// Every attribute, in ascending order of ids.
std::span<const QLAttribInfo> AttribTable();

// The row of an id or of a name ("QL_ATTR_GAMMA"; "GAMMA" will do, in any case); null when there is
// none.
const QLAttribInfo* FindAttrib(std::int32_t id);
const QLAttribInfo* FindAttrib(std::string_view name);

// "bool", "integer" and so on, for people.
std::string_view AttribKindName(QLAttribKind kind);
