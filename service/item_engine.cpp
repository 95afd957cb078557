#include "service/item_engine.h"

#include <algorithm>

#include "engine/engine.h"
#include "engine/item_properties.h"

namespace {

// Properties as they were read; the item's first, then the root's, to which the selects belong.
class CReadProperties final : public IQLItemProperties {
  public:
    explicit CReadProperties(const CDeviceProperties& properties) : m_properties(properties) {}

    HRESULT ReadLong(DWORD id, LONG* out) override {
        const LONG* value = Find<LONG>(id);
        if (value)
            *out = *value;
        return value ? S_OK : E_INVALIDARG;
    }
    HRESULT ReadBin(DWORD id, ULONG size, BYTE* buffer) override {
        const auto* bytes = Find<std::vector<BYTE>>(id);
        if (!bytes || bytes->size() != size)
            return E_INVALIDARG;
        std::ranges::copy(*bytes, buffer);
        return S_OK;
    }
    HRESULT ReadString(DWORD, BSTR*) override { return E_INVALIDARG; }
    HRESULT ReadGuid(DWORD, GUID*) override { return E_INVALIDARG; }
    HRESULT WriteLong(DWORD, LONG) override { return E_INVALIDARG; }
    HRESULT WriteString(DWORD, const OLECHAR*) override { return E_INVALIDARG; }
    HRESULT WriteGuid(DWORD, const GUID&) override { return E_INVALIDARG; }

  private:
    template <typename Value>
    const Value* Find(DWORD id) const {
        for (const ItemState* item : {&m_properties.Image(), &m_properties.Root()}) {
            if (const ScanProperty* property = CDeviceProperties::Find(*item, id))
                return std::get_if<Value>(&property->value);
        }
        return nullptr;
    }

    const CDeviceProperties& m_properties;
};

}  // namespace

ScanStatus SetUpEngine(const CDeviceProperties& properties, CQLEngine& engine) {
    if (FAILED(engine.Init()))
        return StatusOf(E_OUTOFMEMORY, "the imaging engine");
    CReadProperties read(properties);
    return StatusOf(engine.ReadItemSettings(&read), "the settings of the item");
}
