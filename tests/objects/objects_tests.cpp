// The video format record (mappings, ownership of its description, adoption of a client's, the rate) and the
// stream clock owner (what it asks the host to create, the events it forwards, what it invalidates).
#include "objects/cmio_clock.h"
#include "objects/video_format.h"

#include "cf_leak_fixture.h"

#include <CoreVideo/CoreVideo.h>

#include <cmath>
#include <limits>
#include <memory>
#include <tuple>

namespace {

using Drivers::Mac::ZAV::VirtualCamera::cmio_clock_t;
using Drivers::Mac::ZAV::VirtualCamera::video_format_t;
using namespace zav_test;
using fields_t = std::tuple<ZAVlib_FourCC_video_type_e, int, int, int, int, double>;
using description_t = std::tuple<CMMediaType, FourCharCode, int32_t, int32_t>;
namespace probe = zav_platform::probe;

constexpr auto k_uyvy = ZAVlib_FourCC_video_type_UYVY;
constexpr auto k_bgrx = ZAVlib_FourCC_video_type_BGRX;

fields_t fields(const video_format_t& f) {
    return {f.get_fourcc_zav(), f.get_xres(), f.get_yres(), f.get_fr_num(), f.get_fr_den(), f.get_frame_rate()};
}

description_t description(CMFormatDescriptionRef ref) {
    const CMVideoDimensions size = CMVideoFormatDescriptionGetDimensions(ref);
    return {CMFormatDescriptionGetMediaType(ref), CMFormatDescriptionGetMediaSubType(ref), size.width, size.height};
}

// A new video description that the caller releases.
CMFormatDescriptionRef make_description(FourCharCode codec, int32_t width, int32_t height) {
    CMVideoFormatDescriptionRef description = nullptr;
    EXPECT_EQ(CMVideoFormatDescriptionCreate(kCFAllocatorDefault, codec, width, height, nullptr, &description), 0);
    return description;
}

class video_format_test : public cf_leak_fixture_t {};

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

TEST_F(video_format_test, copies_share_the_description_with_one_retain_each) {
    const video_format_t source(k_uyvy, 1920, 1080, 30000, 1001);
    {
        video_format_t target(k_bgrx, 640, 480, 25, 1);
        target = source;
        EXPECT_EQ(objects_created_since_start(), 1) << "the replaced description is gone";
        EXPECT_EQ(target.get_ref(), source.get_ref());
        EXPECT_EQ(fields(target), fields(source));
        const video_format_t constructed(source);
        EXPECT_EQ(CFGetRetainCount(source.get_ref()), 3);
        video_format_t& alias = target;
        target = alias;
        EXPECT_EQ(CFGetRetainCount(source.get_ref()), 3) << "self-assignment";
    }
    EXPECT_EQ(CFGetRetainCount(source.get_ref()), 1);

    // Without a description (by default, or refused by the host) copies have none either.
    const video_format_t by_default;
    EXPECT_EQ(fields(by_default), fields_t(k_uyvy, 1280, 720, 30000, 1000, 30.0));
    EXPECT_EQ(by_default.get_ref(), nullptr);
    probe::set_failure(probe::failing_call_t::format_description_create, kCMFormatDescriptionError_AllocationFailed);
    const video_format_t refused(k_bgrx, 640, 480, 30, 0);
    EXPECT_EQ(fields(refused), fields_t(k_bgrx, 640, 480, 30, 0, 0.0)) << "a zero denominator is a zero rate";
    EXPECT_EQ(video_format_t(refused).get_ref(), nullptr);
    EXPECT_EQ(objects_created_since_start(), 1);
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

TEST_F(video_format_test, update_adopts_a_bgra_or_2vuy_description_keeps_the_rate_and_refuses_others_unchanged) {
    video_format_t format(k_uyvy, 1280, 720, 30000, 1001);
    CMFormatDescriptionRef bgra = make_description(kCVPixelFormatType_32BGRA, 640, 480);
    ASSERT_TRUE(format.update(bgra));
    EXPECT_EQ(fields(format), fields_t(k_bgrx, 640, 480, 30000, 1001, 30000.0 / 1001.0));
    EXPECT_EQ(format.get_ref(), bgra);
    EXPECT_EQ(CFGetRetainCount(bgra), 2);
    EXPECT_EQ(objects_created_since_start(), 1) << "the constructor's description is released";
    CMFormatDescriptionRef uyvy = make_description(kCVPixelFormatType_422YpCbCr8, 3840, 2160);
    ASSERT_TRUE(format.update(uyvy));
    EXPECT_EQ(fields(format), fields_t(k_uyvy, 3840, 2160, 30000, 1001, 30000.0 / 1001.0));
    EXPECT_EQ(CFGetRetainCount(bgra), 1);
    ASSERT_TRUE(format.update(uyvy));
    EXPECT_EQ(CFGetRetainCount(uyvy), 2) << "adopting the description it holds keeps one retain";
    CFRelease(bgra);
    EXPECT_TRUE(log_messages().empty());

    CMFormatDescriptionRef audio = nullptr;
    ASSERT_EQ(CMFormatDescriptionCreate(kCFAllocatorDefault, kCMMediaType_Audio, 'lpcm', nullptr, &audio), 0);
    const struct {
        CMFormatDescriptionRef description;
        const char* line;
    } refused[] = {
        {nullptr, "video_format::update null format"},
        {audio, "video_format::update not a video format"},
        {make_description(kCVPixelFormatType_422YpCbCr8_yuvs, 64, 48), "video_format::update not supported colorspace"},
        {make_description(kCVPixelFormatType_32ARGB, 64, 48), "video_format::update not supported colorspace"},
    };
    for (const auto& c : refused) {
        SCOPED_TRACE(c.line);
        clear_log();
        EXPECT_FALSE(format.update(c.description));
        EXPECT_EQ(log_messages(), lines_t{c.line});
        EXPECT_EQ(fields(format), fields_t(k_uyvy, 3840, 2160, 30000, 1001, 30000.0 / 1001.0));
        EXPECT_EQ(format.get_ref(), uyvy);
        if (c.description != nullptr) {
            EXPECT_EQ(CFGetRetainCount(c.description), 1) << "not retained";
            CFRelease(c.description);
        }
    }
    EXPECT_EQ(CFGetRetainCount(uyvy), 2);
    CFRelease(uyvy);
}

TEST_F(video_format_test, rate_from_a_fraction_needs_a_denominator_and_from_a_double_is_kept_over_1000) {
    video_format_t format(k_uyvy, 1280, 720, 30000, 1000);
    const CMFormatDescriptionRef description = format.get_ref();
    EXPECT_FALSE(format.set_frame_rate(0, 0));
    EXPECT_FALSE(format.set_frame_rate(25, 0));
    EXPECT_EQ(fields(format), fields_t(k_uyvy, 1280, 720, 30000, 1000, 30.0));
    const struct {
        int num, den;
        double rate;
    } fractions[] = {{25, 1, 25.0}, {30000, 1001, 30000.0 / 1001.0}, {0, 1, 0.0}, {-60, 1, -60.0}, {1, 3, 1.0 / 3.0}};
    for (const auto& c : fractions) {
        EXPECT_TRUE(format.set_frame_rate(c.num, c.den));
        EXPECT_EQ(fields(format), fields_t(k_uyvy, 1280, 720, c.num, c.den, c.rate));
    }
    EXPECT_EQ(format.get_ref(), description) << "the description carries no rate";

    // From a double: kept exactly as given, with the nearest numerator over 1000 or 1001.
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

const std::string k_clock_name = "com.mivora.zav.virtualcamera.clock";

class cmio_clock_test : public cf_leak_fixture_t {};

TEST_F(cmio_clock_test, creates_one_clock_and_forwards_timing_events_as_given) {
    int source = 0;
    cmio_clock_t clock(k_clock_name, CMTimeMake(1, 10), 100, 10, &source);
    ASSERT_NE(clock.get_ref(), nullptr);
    const auto created = probe::clocks_created();
    ASSERT_EQ(created.size(), 1u);
    const auto& c = created[0];
    EXPECT_EQ(std::make_tuple(c.clock, c.name, c.resolution.value, c.resolution.timescale, c.events_for_rate_smoothing,
                              c.averages_for_rate_smoothing, c.source_identifier),
              std::make_tuple(clock.get_ref(), k_clock_name, 1, 10, 100u, 10u, static_cast<const void*>(&source)));
    EXPECT_EQ(CFGetRetainCount(clock.get_ref()), 1) << "the name string is not kept alive by the owner";
    EXPECT_EQ(objects_created_since_start(), 1) << "only the clock, the temporary name is gone";

    clock.post_timing_event(CMTimeMake(1700000000, 1000000000), 1700000000ull, 1);
    clock.post_timing_event(CMTimeMake(1733366667, 1000000000), 1700000001ull, 0);
    using event_t = std::tuple<CFTypeRef, CMTimeValue, CMTimeScale, UInt64, bool>;
    std::vector<event_t> events;
    for (const auto& e : probe::clock_events())
        events.emplace_back(e.clock, e.event_time.value, e.event_time.timescale, e.host_time, e.resynchronize);
    EXPECT_EQ(events, (std::vector<event_t>{{clock.get_ref(), 1700000000, 1000000000, 1700000000ull, true},
                                            {clock.get_ref(), 1733366667, 1000000000, 1700000001ull, false}}));
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_clock_test, destruction_invalidates_then_releases_the_clock_and_a_refused_one_is_empty) {
    auto clock = std::make_unique<cmio_clock_t>(k_clock_name, CMTimeMake(1, 10), 100, 10, nullptr);
    const CFTypeRef reference = clock->get_ref();
    // A client that still holds the clock sees it invalidated, and keeps its own reference.
    CFRetain(reference);
    clock.reset();
    EXPECT_EQ(probe::clocks_invalidated(), std::vector<CFTypeRef>{reference});
    EXPECT_EQ(CFGetRetainCount(reference), 1) << "the owner's reference is released";
    CFRelease(reference);

    probe::clear_records();
    probe::set_failure(probe::failing_call_t::stream_clock_create, kCMIOHardwareUnspecifiedError);
    clock = std::make_unique<cmio_clock_t>(k_clock_name, CMTimeMake(1, 10), 100, 10, nullptr);
    EXPECT_EQ(clock->get_ref(), nullptr);
    EXPECT_EQ(objects_created_since_start(), 0) << "the temporary name is released on failure too";
    clock.reset();
    EXPECT_TRUE(probe::clocks_created().empty());
    EXPECT_TRUE(probe::clocks_invalidated().empty()) << "nothing to invalidate";
}

}  // namespace
