// Owners of what the drawing library gives.
#pragma once

#include <cairo.h>

#include <memory>

struct CCairoSurfaceDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using CCairoSurfacePtr = std::unique_ptr<cairo_surface_t, CCairoSurfaceDeleter>;

struct CCairoContextDeleter {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using CCairoContextPtr = std::unique_ptr<cairo_t, CCairoContextDeleter>;
