// How a module that has a component's class makes it known, and takes that back.
#pragma once

#include <string>

#include "platform/com.h"

// Writes CLSID\{...} below HKEY_CLASSES_ROOT, with `name` for people and the file of the module
// that `place`, an address in its code or data, lies in. Written over what is there: a module that
// was moved registers its new place. Objects of the class may be used by any thread.
HRESULT RegisterModuleClass(REFCLSID clsid, const std::string& name, const void* place);

// That there was nothing to take away is as good.
HRESULT UnregisterModuleClass(REFCLSID clsid);
