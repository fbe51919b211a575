// C and C++ agree on every record and value that crosses between a plug-in or client written
// in C and the platform: a packing pragma or a type that differs between the two languages
// would shift fields silently.
#include "header_layout.h"

#include <gtest/gtest.h>

#include <iterator>

TEST(header_layout, c_and_cpp_agree_on_records_and_values) {
#define ZAV_AS_CASE(value) {static_cast<size_t>(value), #value},
    const struct {
        size_t m_cpp;
        const char* m_name;
    } cases[] = {ZAV_HEADER_LAYOUTS(ZAV_AS_CASE)};
#undef ZAV_AS_CASE
    ASSERT_EQ(zav_c_layout_count, std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(zav_c_layouts[i], cases[i].m_cpp) << cases[i].m_name;
}
