// SANE's library, loaded at the first call: for a program that needs it seldom, and starts faster
// without it, also where it isn't installed.
#include <dlfcn.h>
#include <sane/sane.h>

namespace {

// Stays loaded: back ends may have left threads and handlers of their own behind.
void* Library() {
    static void* const library = dlopen("libsane.so.1", RTLD_NOW | RTLD_LOCAL);
    return library;
}

// Null when the library or the operation isn't there.
template <class TOperation>
TOperation* Find(const char* name) {
    return Library() ? reinterpret_cast<TOperation*>(dlsym(Library(), name)) : nullptr;
}

}  // namespace

extern "C" {

SANE_Status sane_init(SANE_Int* version, SANE_Auth_Callback authorize) {
    const auto operation = Find<decltype(sane_init)>("sane_init");
    return operation ? operation(version, authorize) : SANE_STATUS_UNSUPPORTED;
}

void sane_exit() {
    if (const auto operation = Find<decltype(sane_exit)>("sane_exit"))
        operation();
}

SANE_Status sane_get_devices(const SANE_Device*** devices, SANE_Bool isLocalOnly) {
    const auto operation = Find<decltype(sane_get_devices)>("sane_get_devices");
    return operation ? operation(devices, isLocalOnly) : SANE_STATUS_UNSUPPORTED;
}

SANE_Status sane_open(SANE_String_Const name, SANE_Handle* handle) {
    const auto operation = Find<decltype(sane_open)>("sane_open");
    return operation ? operation(name, handle) : SANE_STATUS_UNSUPPORTED;
}

void sane_close(SANE_Handle handle) {
    if (const auto operation = Find<decltype(sane_close)>("sane_close"))
        operation(handle);
}

const SANE_Option_Descriptor* sane_get_option_descriptor(SANE_Handle handle, SANE_Int number) {
    const auto operation = Find<decltype(sane_get_option_descriptor)>("sane_get_option_descriptor");
    return operation ? operation(handle, number) : nullptr;
}

SANE_Status sane_control_option(SANE_Handle handle, SANE_Int number, SANE_Action action,
                                void* value, SANE_Int* info) {
    const auto operation = Find<decltype(sane_control_option)>("sane_control_option");
    return operation ? operation(handle, number, action, value, info) : SANE_STATUS_UNSUPPORTED;
}

SANE_Status sane_start(SANE_Handle handle) {
    const auto operation = Find<decltype(sane_start)>("sane_start");
    return operation ? operation(handle) : SANE_STATUS_UNSUPPORTED;
}

void sane_cancel(SANE_Handle handle) {
    if (const auto operation = Find<decltype(sane_cancel)>("sane_cancel"))
        operation(handle);
}

}  // extern "C"
