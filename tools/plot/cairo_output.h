// What the drawing library gives, and where it writes.
#pragma once

#include <cairo.h>

#include <exception>
#include <memory>

#include "pictures/pending_file.h"

struct CCairoSurfaceDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using CCairoSurfacePtr = std::unique_ptr<cairo_surface_t, CCairoSurfaceDeleter>;

struct CCairoContextDeleter {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using CCairoContextPtr = std::unique_ptr<cairo_t, CCairoContextDeleter>;

// The bytes of a document, into a file that has been created. Through the library nothing may be
// thrown: the first failure is kept for Check.
class CCairoOutput {
  public:
    // Borrowed.
    explicit CCairoOutput(CPendingFile& file) : m_file(file) {}
    CCairoOutput(const CCairoOutput&) = delete;
    CCairoOutput& operator=(const CCairoOutput&) = delete;

    // A cairo_write_func_t; `self` is the object.
    static cairo_status_t Append(void* self, const unsigned char* bytes, unsigned int length);
    // Throws what went wrong up to here, or with this status.
    void Check(cairo_status_t status) const;

  private:
    CPendingFile& m_file;
    std::exception_ptr m_failure;
};
