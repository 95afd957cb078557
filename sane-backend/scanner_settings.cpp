#include "sane-backend/scanner_settings.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "sane-backend/debug.h"
#include "sane-backend/status_map.h"

namespace {

constexpr double kMillimetersPerInch = 25.4;
// A program's window stands still while an option is written.
constexpr std::chrono::seconds kPatience{10};

// Of a side: its resolution, the position and the extent of its axis.
struct AxisRow {
    PROPID resolution;
    PROPID position;
    PROPID extent;
};
constexpr AxisRow kAcross = {WIA_IPS_XRES, WIA_IPS_XPOS, WIA_IPS_XEXTENT};
constexpr AxisRow kAlong = {WIA_IPS_YRES, WIA_IPS_YPOS, WIA_IPS_YEXTENT};

const AxisRow& AxisOf(CScannerSettings::Side side) {
    return side % 2 == 0 ? kAcross : kAlong;
}

bool IsFarSide(CScannerSettings::Side side) {
    return side >= CScannerSettings::kRight;
}

// The nearest of a property's list to a resolution; the value itself without a list.
LONG Nearest(const ScanProperty* property, LONG value) {
    LONG nearest = value;
    LONGLONG distance = -1;
    if (!property)
        return value;
    for (const PropertyValue& known : property->valid.list) {
        const LONG* number = std::get_if<LONG>(&known);
        const LONGLONG away = number ? std::llabs(LONGLONG{*number} - value) : -1;
        if (number && (distance < 0 || away < distance)) {
            nearest = *number;
            distance = away;
        }
    }
    return nearest;
}

// A setting that is refused may be left; other failures say nothing of the setting.
bool IsRefusal(const ScanStatus& status) {
    return SaneStatusOf(status.code) == SANE_STATUS_INVAL;
}
bool IsNoMemory(const ScanStatus& status) {
    return SaneStatusOf(status.code) == SANE_STATUS_NO_MEM;
}

}  // namespace

CScannerSettings::CScannerSettings(std::string number, const std::atomic<bool>* cancel)
    : m_number(std::move(number)),
      m_client([](const std::string& line) { Debug(EDebug::Notes, line); }, cancel, kPatience) {}

ScanStatus CScannerSettings::Open() {
    if (m_device.IsOpen())
        return m_window.Ok() || IsRefusal(m_window) ? ScanStatus{} : WriteWindow();
    ScanStatus status = m_client.Open(m_number, m_device);
    if (status.Ok())
        status = Refresh();
    if (status.Ok() && m_sources.empty()) {
        const ScanStatus found = FindSources(m_device, m_properties, m_sources);
        if (!found.Ok())
            Debug(EDebug::Notes, found.text);
        if (IsNoMemory(found)) {
            m_sources.clear();
            status = found;
        }
    }
    if (status.Ok() && m_asked.source != ScanSource::Unchanged)
        status = ChooseSource(m_asked.source);
    if (status.Ok())
        status = WriteAgain();
    if (!status.Ok())
        m_device.Close();
    return status;
}

// The properties are still those from ahead of the scan.
ScanStatus CScannerSettings::ForgetFound() {
    const CDeviceProperties before = m_properties;
    ScanStatus status = Refresh();
    std::vector<PropertyWrite> writes;
    for (const PropertyWrite& found : FoundExposure{.hasTone = true, .hasColor = true}.Writes()) {
        const ScanProperty* was = CDeviceProperties::Find(before.Image(), found.id);
        const ScanProperty* is = CDeviceProperties::Find(m_properties.Image(), found.id);
        if (was && is && was->value != is->value)
            writes.push_back({found.id, was->value});
    }
    return status.Ok() && !writes.empty() ? Write("", writes) : status;
}

void CScannerSettings::TakeDevice(CScanDevice device) {
    m_device = std::move(device);
    if (!m_device.IsOpen())
        return;
    if (const ScanStatus status = ForgetFound(); !status.Ok()) {
        Debug(EDebug::Failures, status.text);
        m_device.Close();  // a new item has the defaults, and what was asked for
    }
}

// ---- As they are

ScanStatus CScannerSettings::Refresh() {
    return CDeviceProperties::Read(m_device, m_properties);
}

bool CScannerSettings::IsOfRoot(PROPID id) const {
    return CDeviceProperties::Find(m_properties.Root(), id) != nullptr;
}

const ScanProperty* CScannerSettings::Find(PROPID id) const {
    const ScanProperty* property = CDeviceProperties::Find(m_properties.Image(), id);
    return property ? property : CDeviceProperties::Find(m_properties.Root(), id);
}

LONG CScannerSettings::Value(PROPID id) const {
    const ScanProperty* property = Find(id);
    const LONG* number = property ? std::get_if<LONG>(&property->value) : nullptr;
    return number ? *number : 0;
}

bool CScannerSettings::UsesFeeder() const {
    const ScanSource source = Source();
    return source == ScanSource::Feeder || source == ScanSource::Duplex;
}

ScanMode CScannerSettings::Mode() const {
    for (const ScanMode mode : {ScanMode::Gray, ScanMode::LineArt, ScanMode::Dithered}) {
        if (DataTypeOf(mode) == Value(WIA_IPA_DATATYPE))
            return mode;
    }
    return ScanMode::Color;
}

LONG CScannerSettings::Dpi(Side side) const {
    return std::max(Value(AxisOf(side).resolution), LONG{1});
}

// A position may be anywhere up to the far edge.
double CScannerSettings::Reach(Side side) const {
    const ScanProperty* position = Find(AxisOf(side).position);
    return position ? position->valid.max * kMillimetersPerInch / Dpi(side) : 0;
}

double CScannerSettings::WantedSide(Side side) const {
    return std::clamp(m_asked.sides[side].value_or(IsFarSide(side) ? Reach(side) : 0), 0.0,
                      Reach(side));
}

// A window that isn't one yet, because its sides come one after the other, is shown as it was
// asked for.
double CScannerSettings::SideAt(Side side) const {
    if (!HasWindow())
        return WantedSide(side);
    const AxisRow& axis = AxisOf(side);
    const LONG at = Value(axis.position) + (IsFarSide(side) ? Value(axis.extent) : 0);
    return at * kMillimetersPerInch / Dpi(side);
}

// ---- Changes

ScanStatus CScannerSettings::Write(const std::string& item,
                                   const std::vector<PropertyWrite>& writes) {
    ScanStatus status = m_device.Write(item, writes);
    if (status.Ok())
        status = Refresh();
    return status;
}

ScanStatus CScannerSettings::ChooseSource(ScanSource source) {
    ScanSettings settings;
    settings.source = source;
    return ApplySettings(m_device, settings, m_properties);
}

// A source that can't be had after all gives way to the one before.
ScanStatus CScannerSettings::SetSource(ScanSource source) {
    ScanStatus status = Open();
    if (!status.Ok())
        return status;
    const ScanSource before = Source();
    status = ChooseSource(source);
    if (status.Ok())
        m_asked.source = source;
    else if (const ScanStatus back = ChooseSource(before); !back.Ok())
        Debug(EDebug::Failures, back.text);
    const ScanStatus again = WriteAgain();
    return status.Ok() ? again : status;
}

ScanStatus CScannerSettings::SetMode(ScanMode mode) {
    ScanStatus status = Open();
    if (!status.Ok())
        return status;
    ScanSettings settings;
    settings.mode = mode;
    status = ApplySettings(m_device, settings, m_properties);
    if (status.Ok())
        m_asked.mode = mode;
    return status;
}

ScanStatus CScannerSettings::WriteResolution() {
    if (!m_asked.across || !m_asked.along)
        return {};
    return Write("", {{WIA_IPS_XRES, Nearest(Find(WIA_IPS_XRES), *m_asked.across)},
                      {WIA_IPS_YRES, Nearest(Find(WIA_IPS_YRES), *m_asked.along)}});
}

// The driver lets the window reach to the far edges then.
ScanStatus CScannerSettings::SetResolution(LONG across, LONG along) {
    ScanStatus status = Open();
    if (!status.Ok())
        return status;
    const Asked before = m_asked;
    m_asked.across = across;
    m_asked.along = along;
    status = WriteResolution();
    if (!status.Ok()) {
        m_asked = before;
        return status;
    }
    return WriteWindow();
}

ScanStatus CScannerSettings::SetSide(Side side, double millimeters) {
    ScanStatus status = Open();
    if (!status.Ok())
        return status;
    const std::optional<double> before = std::exchange(m_asked.sides[side], millimeters);
    status = WriteWindow();
    if (!status.Ok())
        m_asked.sides[side] = before;
    return status;
}

ScanStatus CScannerSettings::SetValue(PROPID id, LONG value) {
    ScanStatus status = Open();
    if (status.Ok())
        status = Write(IsOfRoot(id) ? m_properties.Root().item.fullName : "", {{id, value}});
    if (status.Ok())
        m_asked.values[id] = value;
    return status;
}

// Each side goes to the nearest pixel by itself: programs tell the far ones from what was made of
// the near ones.
CScannerSettings::Window CScannerSettings::WantedWindow() const {
    const auto pixel = [this](Side side) {
        const ScanProperty* position = Find(AxisOf(side).position);
        return std::min(ScanArea{}.Pixels(WantedSide(side), Dpi(side)),
                        position ? position->valid.max : 0);
    };
    const LONG left = pixel(kLeft);
    const LONG top = pixel(kTop);
    return {left, top, pixel(kRight) - left, pixel(kBottom) - top};
}

// Without a side that was asked for, it is the whole source, and the driver's. Larger extents are
// valid only behind the positions that leave room for them. What the driver refuses is no failure
// yet: the program may be about to set the next side.
ScanStatus CScannerSettings::WriteWindow() {
    m_window = {};
    const Window window = WantedWindow();
    if (std::ranges::none_of(m_asked.sides, [](const auto& side) { return side.has_value(); }) ||
        !IsSound(window))
        return {};
    m_window = Write("", {{WIA_IPS_XPOS, window.left}, {WIA_IPS_YPOS, window.top}});
    if (m_window.Ok())
        m_window = Write("", {{WIA_IPS_XEXTENT, window.width}, {WIA_IPS_YEXTENT, window.height}});
    if (!m_window.Ok())
        Debug(EDebug::Notes, m_window.text);
    return IsRefusal(m_window) ? ScanStatus{} : m_window;
}

ScanStatus CScannerSettings::WriteAgain() {
    ScanStatus status = WriteResolution();
    if (status.Ok() && m_asked.mode != ScanMode::Unchanged)
        status = SetMode(m_asked.mode);
    if (status.Ok())
        status = WriteWindow();
    for (const auto& [id, value] : m_asked.values) {
        if (!status.Ok())
            break;
        if (!Find(id) || Value(id) == value)
            continue;
        const ScanStatus written =
            Write(IsOfRoot(id) ? m_properties.Root().item.fullName : "", {{id, value}});
        if (!written.Ok())
            Debug(EDebug::Notes, written.text);
        if (IsNoMemory(written))
            status = written;
    }
    return status;
}
