// CMTime arithmetic and comparison, including mixed timescales and the special values.
#include <CoreMedia/CoreMedia.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

bool same(CMTime a, CMTime b) {
    // Equal values that also keep their flags (valid, infinite, indefinite) and epoch.
    return CMTimeCompare(a, b) == 0 && (a.flags & ~kCMTimeFlags_HasBeenRounded) == (b.flags & ~kCMTimeFlags_HasBeenRounded);
}

TEST(cm_time, add_and_subtract_table) {
    const struct {
        CMTime m_lhs, m_rhs, m_sum, m_difference;
    } cases[] = {
        {CMTimeMake(1001, 30000), CMTimeMake(1001, 30000), CMTimeMake(2002, 30000), kCMTimeZero},
        {CMTimeMake(1, 2), CMTimeMake(1, 3), CMTimeMake(5, 6), CMTimeMake(1, 6)},
        {CMTimeMake(-5, 10), CMTimeMake(1, 10), CMTimeMake(-4, 10), CMTimeMake(-6, 10)},
        {kCMTimePositiveInfinity, CMTimeMake(1, 1), kCMTimePositiveInfinity, kCMTimePositiveInfinity},
        {CMTimeMake(1, 1), kCMTimeNegativeInfinity, kCMTimeNegativeInfinity, kCMTimePositiveInfinity},
        {kCMTimePositiveInfinity, kCMTimeNegativeInfinity, kCMTimeInvalid, kCMTimePositiveInfinity},
        {kCMTimeIndefinite, CMTimeMake(1, 1), kCMTimeIndefinite, kCMTimeIndefinite},
        {kCMTimeInvalid, CMTimeMake(1, 1), kCMTimeInvalid, kCMTimeInvalid},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const auto& c = cases[i];
        EXPECT_TRUE(same(CMTimeAdd(c.m_lhs, c.m_rhs), c.m_sum)) << "case " << i;
        EXPECT_TRUE(same(CMTimeSubtract(c.m_lhs, c.m_rhs), c.m_difference)) << "case " << i;
    }
    // The exact timescale is kept when it can be, so frame durations accumulate without drift.
    const CMTime sum = CMTimeAdd(CMTimeMake(1, 2), CMTimeMake(1, 3));
    EXPECT_EQ(sum.timescale, 6);
    EXPECT_EQ(sum.value, 5);
    EXPECT_FALSE(CMTIME_HAS_BEEN_ROUNDED(sum));
    CMTime t = kCMTimeZero;
    for (int i = 0; i < 30000; ++i) t = CMTimeAdd(t, CMTimeMake(1001, 30000));
    EXPECT_EQ(CMTimeCompare(t, CMTimeMake(1001, 1)), 0);
}

TEST(cm_time, compare_orders_special_values) {
    const CMTime ordered[] = {kCMTimeInvalid, kCMTimeNegativeInfinity, CMTimeMake(-1, 1), kCMTimeZero,
                              CMTimeMake(1, 1000000000), CMTimeMake(1, 1), kCMTimePositiveInfinity, kCMTimeIndefinite};
    for (std::size_t i = 0; i < std::size(ordered); ++i) {
        EXPECT_EQ(CMTimeCompare(ordered[i], ordered[i]), 0) << i;
        for (std::size_t j = i + 1; j < std::size(ordered); ++j) {
            EXPECT_EQ(CMTimeCompare(ordered[i], ordered[j]), -1) << i << " " << j;
            EXPECT_EQ(CMTimeCompare(ordered[j], ordered[i]), 1) << i << " " << j;
        }
    }
    EXPECT_EQ(CMTimeCompare(CMTimeMake(1, 2), CMTimeMake(500, 1000)), 0);
    EXPECT_TRUE(CMTIME_COMPARE_INLINE(CMTimeMake(1, 3), <, CMTimeMake(1, 2)));
}

TEST(cm_time, validity_and_seconds) {
    EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMake(5, 0)));
    EXPECT_FALSE(CMTIME_IS_NUMERIC(kCMTimePositiveInfinity));
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(CMTimeMake(1001, 30000)), 1001.0 / 30000.0);
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(kCMTimeInvalid)));
    EXPECT_TRUE(std::isinf(CMTimeGetSeconds(kCMTimeNegativeInfinity)));
}

TEST(cm_time, convert_scale_rounds_as_asked) {
    const CMTime third = CMTimeMake(1, 3);
    EXPECT_EQ(CMTimeConvertScale(third, 1000, kCMTimeRoundingMethod_RoundHalfAwayFromZero).value, 333);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(2, 3), 1000, kCMTimeRoundingMethod_RoundHalfAwayFromZero).value, 667);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(2, 3), 1000, kCMTimeRoundingMethod_RoundTowardZero).value, 666);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(-2, 3), 1000, kCMTimeRoundingMethod_RoundTowardNegativeInfinity).value, -667);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(1, 3), 1000, kCMTimeRoundingMethod_RoundAwayFromZero).value, 334);
    EXPECT_TRUE(CMTIME_HAS_BEEN_ROUNDED(CMTimeConvertScale(third, 1000, kCMTimeRoundingMethod_Default)));
    EXPECT_FALSE(CMTIME_HAS_BEEN_ROUNDED(CMTimeConvertScale(CMTimeMake(1, 2), 1000, kCMTimeRoundingMethod_Default)));
    const CMTime seconds = CMTimeMakeWithSeconds(2.5, 600);
    EXPECT_EQ(seconds.value, 1500);
    EXPECT_EQ(seconds.timescale, 600);
    // Overflow saturates to infinity.
    const CMTime huge = CMTimeMake(INT64_MAX - 1, 1);
    EXPECT_TRUE(CMTIME_IS_POSITIVE_INFINITY(CMTimeAdd(huge, CMTimeMake(10, 1))));
    EXPECT_TRUE(CMTIME_IS_POSITIVE_INFINITY(CMTimeMultiply(huge, 2)));
}

}  // namespace
