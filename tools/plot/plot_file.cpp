#include "tools/plot/plot_file.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "pictures/file_failure.h"
#include "tools/plot/cairo_output.h"
#include "tools/text_values.h"

namespace {

constexpr double kPixelsPerUnit = 1.5;

struct CFormat {
    const char* m_ending;
    // Null: the drawing is one of pixels.
    cairo_surface_t* (*m_create)(cairo_write_func_t, void*, double width, double height);
};
constexpr CFormat kFormats[] = {
    {".png", nullptr},
    {".pdf", cairo_pdf_surface_create_for_stream},
    {".svg", cairo_svg_surface_create_for_stream},
};

const CFormat* FormatOf(const std::string& path) {
    const std::string ending = std::filesystem::path(path).extension().string();
    const auto* format = std::ranges::find_if(
        kFormats, [&](const CFormat& row) { return EqualNoCase(ending, row.m_ending); });
    return format == std::end(kFormats) ? nullptr : format;
}

void Draw(const CFormat& format, std::span<const CPlotPanel> panels, CCairoOutput& out) {
    const double height = kPanelHeight * static_cast<double>(panels.size());
    const auto pixels = [](double units) {
        return static_cast<int>(std::lround(units * kPixelsPerUnit));
    };
    const CCairoSurfacePtr surface(
        format.m_create
            ? format.m_create(CCairoOutput::Append, &out, kPlotWidth, height)
            : cairo_image_surface_create(CAIRO_FORMAT_RGB24, pixels(kPlotWidth), pixels(height)));
    const CCairoContextPtr context(cairo_create(surface.get()));
    if (!format.m_create)
        cairo_scale(context.get(), kPixelsPerUnit, kPixelsPerUnit);
    DrawPanels(context.get(), panels);
    out.Check(cairo_status(context.get()));
    if (!format.m_create)
        out.Check(cairo_surface_write_to_png_stream(surface.get(), CCairoOutput::Append, &out));
    cairo_surface_finish(surface.get());
    out.Check(cairo_surface_status(surface.get()));
}

}  // namespace

bool IsPlotFile(const std::string& path, std::string* error) {
    if (FormatOf(path))
        return true;
    *error = path + ": a plot is a .png, .pdf or .svg file";
    return false;
}

bool WritePlot(const std::string& path, std::span<const CPlotPanel> panels, std::string* error) {
    const CFormat* format = FormatOf(path);
    if (!format)
        return IsPlotFile(path, error);
    const bool written = RunGuarded(error, [&] {
        CPendingFile file(path);
        file.Create();
        CCairoOutput out(file);
        Draw(*format, panels, out);
        file.Publish();
    });
    if (!written)
        *error = path + ": " + *error;
    return written;
}
