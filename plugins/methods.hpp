// The table of a plug-in's methods.
#pragma once

#include "qor/class.h"

namespace plugins {

struct Method_row {
    const char *class_name; // PROCEDURES for those of rules and sources
    const char *name;
    QOR_PROC procedure;
    int16_t in_count, out_count;
    const char *signature;
};

// The classes must be there. rows is anything that can be gone through.
template <typename Rows> void create_methods(const Rows &rows) {
    int32_t status;
    for (const Method_row &row : rows)
        CLASS_CREATE_METHOD_C(row.class_name, row.name, row.procedure, row.in_count, row.out_count, 'P', row.signature,
                              &status);
}

} // namespace plugins
