#include "tools/plot/cairo_output.h"

#include <string>

#include "pictures/file_failure.h"

cairo_status_t CCairoOutput::Append(void* self, const unsigned char* bytes, unsigned int length) {
    auto& output = *static_cast<CCairoOutput*>(self);
    if (output.m_failure)
        return CAIRO_STATUS_WRITE_ERROR;
    try {
        output.m_file.Append(bytes, length);
    } catch (...) {
        output.m_failure = std::current_exception();
        return CAIRO_STATUS_WRITE_ERROR;
    }
    return CAIRO_STATUS_SUCCESS;
}

// The file's own failure says more than cairo, which only knows that writing failed.
void CCairoOutput::Check(cairo_status_t status) const {
    if (m_failure)
        std::rethrow_exception(m_failure);
    if (status == CAIRO_STATUS_NO_MEMORY)
        throw std::bad_alloc();
    if (status != CAIRO_STATUS_SUCCESS)
        Fail(std::string("can't be written: ") + cairo_status_to_string(status));
}
