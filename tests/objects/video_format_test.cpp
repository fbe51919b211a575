// The video format record on every target: the mappings of its layouts, equality and the rate.
#include "objects/video_format.h"

#include "checked_fixture.h"
#include "video_format_test_support.h"

#include <CoreVideo/CoreVideo.h>

#include <cmath>
#include <limits>
#include <tuple>

namespace {

using namespace video_format_test_support;
using namespace zav_test;

class video_format_test : public checked_fixture_t {};

TEST_F(video_format_test, layouts_map_to_pixel_formats_and_receive_colours) {
    // BGRA is a real layout of the library, but not one a stream format uses.
    const struct {
        ZAVlib_FourCC_video_type_e fourcc;
        FourCharCode pixel_format;
        int recv_color;
    } layouts[] = {{k_uyvy, kCVPixelFormatType_422YpCbCr8, 1},
                   {k_bgrx, kCVPixelFormatType_32BGRA, 0},
                   {ZAVlib_FourCC_video_type_BGRA, 0, 0x7fffffff},
                   {ZAVlib_FourCC_video_type_e(0), 0, 0x7fffffff}};
    for (const auto& layout : layouts) {
        SCOPED_TRACE(layout.fourcc);
        const lines_t unmapped = {"video_format::get_fourcc_cm unexpected value"};
        clear_log();
        const video_format_t format(layout.fourcc, 1280, 720, 30000, 1000);
        EXPECT_EQ(log_messages(), layout.pixel_format ? lines_t{} : unmapped) << "mapped once";
        EXPECT_EQ(fields(format), fields_t(layout.fourcc, 1280, 720, 30000, 1000, 30.0));
        clear_log();
        EXPECT_EQ(format.get_fourcc_cm(), layout.pixel_format);
        EXPECT_EQ(format.get_recv_color_zav(), ZAVlib_recv_color_format_e(layout.recv_color));
        if (layout.pixel_format) {
            EXPECT_EQ(description(format.get_ref()), description_t(kCMMediaType_Video, layout.pixel_format, 1280, 720));
            EXPECT_EQ(CFGetRetainCount(format.get_ref()), 1);
            EXPECT_TRUE(log_messages().empty());
        } else {
            EXPECT_EQ(log_messages(), (lines_t{unmapped[0], "video_format_t::get_recv_color_zav unexpected value"}));
        }
    }
}

TEST_F(video_format_test, equality_compares_rates_as_fractions_and_descriptions) {
    const struct {
        const char* name;
        video_format_t a, b;
        bool equal;
    } cases[] = {
        {"equal fractions", {k_uyvy, 1280, 720, 30000, 1000}, {k_uyvy, 1280, 720, 30, 1}, true},
        {"ntsc rate against whole rate", {k_uyvy, 1280, 720, 30000, 1001}, {k_uyvy, 1280, 720, 30000, 1000}, false},
        {"other size", {k_uyvy, 1280, 720, 30, 1}, {k_uyvy, 1920, 1080, 30, 1}, false},
        {"other layout", {k_uyvy, 1280, 720, 30, 1}, {k_bgrx, 1280, 720, 30, 1}, false},
        // Cross products wrap around in 32 bits: 65536 x 65536 and 0 x 1 are both 0.
        {"wrapping cross products", {k_uyvy, 64, 48, 65536, 1}, {k_uyvy, 64, 48, 0, 65536}, true},
        {"two zero denominators", {k_uyvy, 64, 48, 30, 0}, {k_uyvy, 64, 48, 25, 0}, true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(std::make_tuple(c.a == c.b, c.b == c.a, c.a != c.b), std::make_tuple(c.equal, c.equal, !c.equal))
            << c.name;
    // Compatibility is description equality.
    const video_format_t format(k_bgrx, 640, 480, 30, 1);
    CMFormatDescriptionRef same = make_description(kCVPixelFormatType_32BGRA, 640, 480),
                           other = make_description(kCVPixelFormatType_32BGRA, 640, 360);
    EXPECT_TRUE(format.is_compatible_with(same) && !format.is_compatible_with(other));
    CFRelease(same);
    CFRelease(other);
}

TEST_F(video_format_test, a_rate_with_a_zero_denominator_is_refused) {
    video_format_t format(k_uyvy, 1280, 720, 30000, 1000);
    EXPECT_FALSE(format.set_frame_rate(0, 0));
    EXPECT_FALSE(format.set_frame_rate(25, 0));
    EXPECT_EQ(fields(format), fields_t(k_uyvy, 1280, 720, 30000, 1000, 30.0));
}

TEST_F(video_format_test, a_rate_from_a_fraction_is_kept_as_given) {
    video_format_t format(k_uyvy, 1280, 720, 30000, 1000);
    const CMFormatDescriptionRef description = format.get_ref();
    const struct {
        int num, den;
        double rate;
    } fractions[] = {{25, 1, 25.0}, {30000, 1001, 30000.0 / 1001.0}, {0, 1, 0.0}, {-60, 1, -60.0}, {1, 3, 1.0 / 3.0}};
    for (const auto& c : fractions) {
        EXPECT_TRUE(format.set_frame_rate(c.num, c.den));
        EXPECT_EQ(fields(format), fields_t(k_uyvy, 1280, 720, c.num, c.den, c.rate));
    }
    EXPECT_EQ(format.get_ref(), description) << "the description carries no rate";
}

// From a double: kept exactly as given, with the nearest numerator over 1000 or 1001.
TEST_F(video_format_test, a_rate_from_a_double_is_kept_with_the_nearest_fraction_over_1000_or_1001) {
    video_format_t format(k_uyvy, 1280, 720, 30000, 1000);
    const int32_t most_negative = std::numeric_limits<int32_t>::min();
    const struct {
        double rate;
        int num, den;
    } doubles[] = {
        {30.0, 30000, 1000},
        {29.97, 29970, 1000},
        {30000.0 / 1001.0, 29970, 1000},
        {59.94, 59940, 1000},
        {23.976, 23976, 1000},
        {-29.97, -29970, 1000},
        {2147483.647, 2147483647, 1000},
        {0.0005, 0, 1001},
        {0.0, 0, 1001},  // a zero numerator is as close over either denominator
        // Out of range: the most negative numerator, which happens to lie closer over 1001.
        {2147483.648, most_negative, 1001},
        {1e300, most_negative, 1001},
        {-2147483.648, most_negative, 1000},                             // just in range
        {std::numeric_limits<double>::infinity(), most_negative, 1001},  // both errors infinite: a tie
        {std::numeric_limits<double>::quiet_NaN(), most_negative, 1001},
    };
    for (const auto& c : doubles) {
        SCOPED_TRACE(c.rate);
        EXPECT_TRUE(format.set_frame_rate(c.rate));
        EXPECT_EQ(std::make_pair(format.get_fr_num(), format.get_fr_den()), std::make_pair(c.num, c.den));
        EXPECT_TRUE(std::isnan(c.rate) ? std::isnan(format.get_frame_rate()) : format.get_frame_rate() == c.rate);
    }
}

}  // namespace
