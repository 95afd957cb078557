#include "profile/builtin_profile.h"

#include <memory>

#include "platform/resources.h"
#include "profile/profile_container.h"

namespace {

// Under a number and without a name: no model's name can be that of the built-in profile.
const EmbeddedResource kResources[] = {
    {kResourceData, kBuiltinProfileNumber, nullptr, kBuiltinProfile, kBuiltinProfileBytes},
};
const ResourceTable g_resources(kResources);

}  // namespace

// The build has made the container, so that there is nothing to check.
std::string BuiltinProfileText() {
    const auto tree = std::make_unique<ProfileTree>();
    std::string text(kProfileTextSize, '\0');
    CMemoryProfileStream stream(kBuiltinProfile, kBuiltinProfileBytes);
    ReadProfileStream(*tree, stream, text.data(), kProfileTextSize);
    text.resize(text.find('\0'));
    return text;
}

HMODULE ProfileModule() {
    return g_resources.Module();
}
