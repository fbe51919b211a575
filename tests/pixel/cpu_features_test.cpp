// The load-time processor flags against the compiler's own feature query.
#include <gtest/gtest.h>

#include "pixel/cpu_features.h"

namespace {

using namespace Drivers::Mac::ZAV::VirtualCamera;

TEST(cpu_features, flags_match_the_processor)
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    EXPECT_EQ(g_cpu_has_ssse3, __builtin_cpu_supports("ssse3") != 0);
    EXPECT_EQ(g_cpu_has_sse41, __builtin_cpu_supports("sse4.1") != 0);
    // The kernels are built for SSSE3; a processor that runs these tests has it.
    EXPECT_TRUE(g_cpu_has_ssse3);
#else
    EXPECT_FALSE(g_cpu_has_ssse3);
    EXPECT_FALSE(g_cpu_has_sse41);
#endif
}

}  // namespace
