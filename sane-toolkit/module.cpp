// The entries of the module, and its one class.
#include "platform/module_class.h"
#include "sane-toolkit/sane_toolkit.h"

namespace {

constexpr CLSID kClass = {
    0x42F71CCC, 0xE3A8, 0x46D9, {0xBC, 0x89, 0x54, 0x6C, 0x19, 0xAB, 0xF5, 0x4F}};

CModuleClass<CSaneToolkit> g_class(kClass, "Scanner of SANE");

}  // namespace

NVQ_MODULE_ENTRIES(g_class)
