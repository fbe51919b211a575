// The frame schedule's integer arithmetic: whole ticks per frame at the common rates, no drift
// over long runs, rounding and large values.
#include "capture/pacing.h"

#include <gtest/gtest.h>

namespace {

using Drivers::Mac::ZAV::VirtualCamera::k_pacing_ticks_per_second;
using Drivers::Mac::ZAV::VirtualCamera::rescale_rounded;

struct rate_case_t {
    const char* name;
    int32_t num, den;
    int64_t ticks_per_frame;
};

// A failing case is reported by its name rather than as a dump of its bytes.
void PrintTo(const rate_case_t& c, std::ostream* os) {
    *os << c.name;
}

class frame_interval_t : public ::testing::TestWithParam<rate_case_t> {};

TEST_P(frame_interval_t, is_a_whole_number_of_ticks) {
    const rate_case_t& c = GetParam();
    const int64_t interval = rescale_rounded(k_pacing_ticks_per_second, c.den, c.num);
    EXPECT_EQ(interval, c.ticks_per_frame);
    EXPECT_EQ(interval * c.num, k_pacing_ticks_per_second * c.den) << "not exact";
}

INSTANTIATE_TEST_SUITE_P(
    common_rates, frame_interval_t,
    ::testing::Values(rate_case_t{"fps_24", 24, 1, 2940000}, rate_case_t{"fps_25", 25, 1, 2822400},
                      rate_case_t{"fps_30", 30000, 1000, 2352000}, rate_case_t{"fps_50", 50, 1, 1411200},
                      rate_case_t{"fps_60", 60, 1, 1176000}, rate_case_t{"fps_23_976", 24000, 1001, 2942940},
                      rate_case_t{"fps_29_97", 30000, 1001, 2354352}, rate_case_t{"fps_59_94", 60000, 1001, 1177176}),
    [](const ::testing::TestParamInfo<rate_case_t>& param_info) { return std::string(param_info.param.name); });

TEST(pacing_deadline, after_30000_frames_at_29_97_is_exactly_1001_seconds) {
    const int64_t elapsed = 30000 * rescale_rounded(k_pacing_ticks_per_second, 1001, 30000);
    EXPECT_EQ(rescale_rounded(elapsed, 1000, int32_t(k_pacing_ticks_per_second)), 1001000);
}

TEST(pacing_deadline, is_rounded_to_the_nearest_millisecond_with_halves_up) {
    // One frame at 29.97 fps is 33.3667 ms; two are 66.7333 ms; 35,280 ticks are exactly 0.5 ms.
    const int32_t ticks = int32_t(k_pacing_ticks_per_second);
    EXPECT_EQ(rescale_rounded(2354352, 1000, ticks), 33);
    EXPECT_EQ(rescale_rounded(2 * 2354352, 1000, ticks), 67);
    EXPECT_EQ(rescale_rounded(35280, 1000, ticks), 1);
    EXPECT_EQ(rescale_rounded(35279, 1000, ticks), 0);
}

TEST(pacing_deadline, values_above_32_bits_do_not_overflow) {
    // A day of ticks: the product with 1000 would still fit, but with the split it stays exact
    // far beyond that, up to a century.
    const int64_t century = int64_t(100) * 365 * 24 * 3600 * k_pacing_ticks_per_second;
    EXPECT_EQ(rescale_rounded(century, 1000, int32_t(k_pacing_ticks_per_second)),
              int64_t(100) * 365 * 24 * 3600 * 1000);
    EXPECT_EQ(rescale_rounded(int64_t(INT32_MAX) + 1, 1, 2), (int64_t(INT32_MAX) + 1) / 2);
    EXPECT_EQ(rescale_rounded(int64_t(INT32_MAX) + 2, 1, 2), (int64_t(INT32_MAX) + 3) / 2);
}

}  // namespace
