/* Compiled as C11 (-Wpedantic): every umbrella header must be valid C. */
#include "header_layout.h"

#define ZAV_AS_ENTRY(value) (size_t)(value),
const size_t zav_c_layouts[] = {ZAV_HEADER_LAYOUTS(ZAV_AS_ENTRY)};
const size_t zav_c_layout_count = sizeof zav_c_layouts / sizeof zav_c_layouts[0];
