// Who owns the video format record's description: copies share it, adoption of a client's
// releases the old one, a refused one leaves the record unchanged. Counted through the platform
// layer's live objects and failure switches.
#include "objects/video_format.h"

#include "cf_leak_fixture.h"
#include "video_format_test_support.h"

#include <CoreVideo/CoreVideo.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <tuple>

namespace {

using namespace video_format_test_support;
using namespace zav_test;

namespace probe = zav_platform::probe;

class video_format_ownership_test : public cf_leak_fixture_t {};

void release_all(std::initializer_list<CFTypeRef> objects) {
    for (CFTypeRef object : objects) CFRelease(object);
}

TEST_F(video_format_ownership_test, copies_share_the_description_with_one_retain_each) {
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
}

// Without a description (by default, or refused by the host) copies have none either.
TEST_F(video_format_ownership_test, copies_of_a_format_without_a_description_have_none) {
    const video_format_t by_default;
    EXPECT_EQ(fields(by_default), fields_t(k_uyvy, 1280, 720, 30000, 1000, 30.0));
    EXPECT_EQ(by_default.get_ref(), nullptr);
    probe::set_failure(probe::failing_call_t::format_description_create, kCMFormatDescriptionError_AllocationFailed);
    const video_format_t refused(k_bgrx, 640, 480, 30, 0);
    EXPECT_EQ(fields(refused), fields_t(k_bgrx, 640, 480, 30, 0, 0.0)) << "a zero denominator is a zero rate";
    EXPECT_EQ(video_format_t(refused).get_ref(), nullptr);
    EXPECT_EQ(objects_created_since_start(), 0);
}

TEST_F(video_format_ownership_test, update_adopts_a_bgra_or_2vuy_description_and_keeps_the_rate) {
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
    release_all({bgra, uyvy});
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(video_format_ownership_test, update_refuses_other_descriptions_and_leaves_the_format_unchanged) {
    video_format_t format(k_uyvy, 1280, 720, 30000, 1001);
    CMFormatDescriptionRef uyvy = make_description(kCVPixelFormatType_422YpCbCr8, 3840, 2160);
    ASSERT_TRUE(format.update(uyvy));
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

}  // namespace
