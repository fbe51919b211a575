// CMTime arithmetic and comparison, including mixed timescales and the special values.
#include <CoreMedia/CoreMedia.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Equal values that also keep their flags (valid, infinite, indefinite).
bool same(CMTime a, CMTime b) {
    return CMTimeCompare(a, b) == 0 && (a.flags & ~kCMTimeFlags_HasBeenRounded) == (b.flags & ~kCMTimeFlags_HasBeenRounded);
}

TEST(cm_time, add_and_subtract_table) {
    const CMTime one = CMTimeMake(1, 1), ntsc = CMTimeMake(1001, 30000);
    const struct {
        CMTime m_lhs, m_rhs, m_sum, m_difference;
    } cases[] = {
        {ntsc, ntsc, CMTimeMake(2002, 30000), kCMTimeZero},
        {CMTimeMake(1, 2), CMTimeMake(1, 3), CMTimeMake(5, 6), CMTimeMake(1, 6)},
        {CMTimeMake(-5, 10), CMTimeMake(1, 10), CMTimeMake(-4, 10), CMTimeMake(-6, 10)},
        {kCMTimePositiveInfinity, one, kCMTimePositiveInfinity, kCMTimePositiveInfinity},
        {one, kCMTimeNegativeInfinity, kCMTimeNegativeInfinity, kCMTimePositiveInfinity},
        {kCMTimePositiveInfinity, kCMTimeNegativeInfinity, kCMTimeInvalid, kCMTimePositiveInfinity},
        {kCMTimeIndefinite, one, kCMTimeIndefinite, kCMTimeIndefinite},
        {kCMTimeInvalid, one, kCMTimeInvalid, kCMTimeInvalid},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_TRUE(same(CMTimeAdd(cases[i].m_lhs, cases[i].m_rhs), cases[i].m_sum));
        EXPECT_TRUE(same(CMTimeSubtract(cases[i].m_lhs, cases[i].m_rhs), cases[i].m_difference));
    }
    // The exact timescale is kept when it can be, so frame durations accumulate without drift.
    const CMTime sum = CMTimeAdd(CMTimeMake(1, 2), CMTimeMake(1, 3));
    EXPECT_TRUE(sum.timescale == 6 && sum.value == 5 && !CMTIME_HAS_BEEN_ROUNDED(sum));
    CMTime t = kCMTimeZero;
    for (int i = 0; i < 30000; ++i) t = CMTimeAdd(t, ntsc);
    EXPECT_EQ(CMTimeCompare(t, CMTimeMake(1001, 1)), 0);
    // Overflow saturates to infinity.
    const CMTime huge = CMTimeMake(INT64_MAX - 1, 1);
    EXPECT_TRUE(CMTIME_IS_POSITIVE_INFINITY(CMTimeAdd(huge, CMTimeMake(10, 1))));
    EXPECT_TRUE(CMTIME_IS_POSITIVE_INFINITY(CMTimeMultiply(huge, 2)));
}

TEST(cm_time, compare_orders_special_values_and_seconds_follow) {
    const CMTime ordered[] = {kCMTimeInvalid, kCMTimeNegativeInfinity, CMTimeMake(-1, 1), kCMTimeZero,
                              CMTimeMake(1, 1000000000), CMTimeMake(1, 1), kCMTimePositiveInfinity, kCMTimeIndefinite};
    for (std::size_t i = 0; i < std::size(ordered); ++i) {
        for (std::size_t j = 0; j < std::size(ordered); ++j)
            EXPECT_EQ(CMTimeCompare(ordered[i], ordered[j]), i < j ? -1 : i > j ? 1 : 0) << i << " " << j;
    }
    EXPECT_EQ(CMTimeCompare(CMTimeMake(1, 2), CMTimeMake(500, 1000)), 0);
    EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMake(5, 0)));
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(CMTimeMake(1001, 30000)), 1001.0 / 30000.0);
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(kCMTimeInvalid)));
    EXPECT_TRUE(std::isinf(CMTimeGetSeconds(kCMTimeNegativeInfinity)));
}

TEST(cm_time, convert_scale_rounds_as_asked) {
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(1, 3), 1000, kCMTimeRoundingMethod_RoundHalfAwayFromZero).value, 333);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(2, 3), 1000, kCMTimeRoundingMethod_RoundHalfAwayFromZero).value, 667);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(2, 3), 1000, kCMTimeRoundingMethod_RoundTowardZero).value, 666);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(-2, 3), 1000, kCMTimeRoundingMethod_RoundTowardNegativeInfinity).value, -667);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(1, 3), 1000, kCMTimeRoundingMethod_RoundAwayFromZero).value, 334);
    EXPECT_TRUE(CMTIME_HAS_BEEN_ROUNDED(CMTimeConvertScale(CMTimeMake(1, 3), 1000, kCMTimeRoundingMethod_Default)));
    EXPECT_FALSE(CMTIME_HAS_BEEN_ROUNDED(CMTimeConvertScale(CMTimeMake(1, 2), 1000, kCMTimeRoundingMethod_Default)));
    const CMTime seconds = CMTimeMakeWithSeconds(2.5, 600);
    EXPECT_TRUE(seconds.value == 1500 && seconds.timescale == 600);
}

}  // namespace
