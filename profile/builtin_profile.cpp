#include "profile/builtin_profile.h"

#include "platform/resources.h"

namespace {

const EmbeddedResource kResources[] = {
    {kResourceData, kBuiltinProfileNumber, nullptr, kBuiltinProfile, kBuiltinProfileBytes},
};
const ResourceTable g_resources(kResources);

}  // namespace

HMODULE ProfileModule() {
    return g_resources.Module();
}
