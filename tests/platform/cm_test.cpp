// CoreMedia: CMTime arithmetic, CMSimpleQueue, format descriptions, sample buffers and
// attachments.
#include "platform_test.h"

#include <CoreMedia/CoreMedia.h>
#include <CoreVideo/CoreVideo.h>

#include <cmath>

namespace {

// Equal values that also keep their flags (valid, infinite, indefinite).
bool same(CMTime a, CMTime b) {
    return CMTimeCompare(a, b) == 0 &&
           (a.flags & ~kCMTimeFlags_HasBeenRounded) == (b.flags & ~kCMTimeFlags_HasBeenRounded);
}

TEST(cm_time, add_and_subtract_keep_the_special_values) {
    const CMTime one = CMTimeMake(1, 1), ntsc = CMTimeMake(1001, 30000);
    const struct {
        const char* m_name;
        CMTime m_lhs, m_rhs, m_sum, m_difference;
    } cases[] = {
        {"ntsc frame durations", ntsc, ntsc, CMTimeMake(2002, 30000), kCMTimeZero},
        {"halves and thirds", CMTimeMake(1, 2), CMTimeMake(1, 3), CMTimeMake(5, 6), CMTimeMake(1, 6)},
        {"negative values", CMTimeMake(-5, 10), CMTimeMake(1, 10), CMTimeMake(-4, 10), CMTimeMake(-6, 10)},
        {"plus infinity and one", kCMTimePositiveInfinity, one, kCMTimePositiveInfinity, kCMTimePositiveInfinity},
        {"one and minus infinity", one, kCMTimeNegativeInfinity, kCMTimeNegativeInfinity, kCMTimePositiveInfinity},
        {"plus and minus infinity", kCMTimePositiveInfinity, kCMTimeNegativeInfinity, kCMTimeInvalid,
         kCMTimePositiveInfinity},
        {"indefinite and one", kCMTimeIndefinite, one, kCMTimeIndefinite, kCMTimeIndefinite},
        {"invalid and one", kCMTimeInvalid, one, kCMTimeInvalid, kCMTimeInvalid},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_name);
        EXPECT_TRUE(same(CMTimeAdd(c.m_lhs, c.m_rhs), c.m_sum));
        EXPECT_TRUE(same(CMTimeSubtract(c.m_lhs, c.m_rhs), c.m_difference));
    }
}

TEST(cm_time, sums_keep_the_exact_timescale_without_drift) {
    const CMTime ntsc = CMTimeMake(1001, 30000);
    // The exact timescale is kept when it can be, so frame durations accumulate without drift.
    const CMTime sum = CMTimeAdd(CMTimeMake(1, 2), CMTimeMake(1, 3));
    EXPECT_TRUE(sum.timescale == 6 && sum.value == 5 && !CMTIME_HAS_BEEN_ROUNDED(sum));
    CMTime t = kCMTimeZero;
    for (int i = 0; i < 30000; ++i) t = CMTimeAdd(t, ntsc);
    EXPECT_EQ(CMTimeCompare(t, CMTimeMake(1001, 1)), 0);
}

TEST(cm_time, overflow_saturates_to_infinity) {
    const CMTime huge = CMTimeMake(INT64_MAX - 1, 1);
    EXPECT_TRUE(CMTIME_IS_POSITIVE_INFINITY(CMTimeAdd(huge, CMTimeMake(10, 1))));
    EXPECT_TRUE(CMTIME_IS_POSITIVE_INFINITY(CMTimeMultiply(huge, 2)));
}

TEST(cm_time, compare_orders_the_special_values_around_the_numbers) {
    const CMTime ordered[] = {
        kCMTimeInvalid,   kCMTimeNegativeInfinity, CMTimeMake(-1, 1), kCMTimeZero, CMTimeMake(1, 1000000000),
        CMTimeMake(1, 1), kCMTimePositiveInfinity, kCMTimeIndefinite};
    for (std::size_t i = 0; i < std::size(ordered); ++i)
        for (std::size_t j = 0; j < std::size(ordered); ++j)
            EXPECT_EQ(CMTimeCompare(ordered[i], ordered[j]), i < j ? -1 : i > j ? 1 : 0) << i << " " << j;
    EXPECT_EQ(CMTimeCompare(CMTimeMake(1, 2), CMTimeMake(500, 1000)), 0);
    EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMake(5, 0)));
}

TEST(cm_time, seconds_of_the_special_values_are_nan_and_infinity) {
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(CMTimeMake(1001, 30000)), 1001.0 / 30000.0);
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(kCMTimeInvalid)));
    EXPECT_TRUE(std::isinf(CMTimeGetSeconds(kCMTimeNegativeInfinity)));
    const CMTime seconds = CMTimeMakeWithSeconds(2.5, 600);
    EXPECT_TRUE(seconds.value == 1500 && seconds.timescale == 600);
}

TEST(cm_time, converting_the_scale_rounds_as_asked_and_says_so) {
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(1, 3), 1000, kCMTimeRoundingMethod_RoundHalfAwayFromZero).value, 333);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(2, 3), 1000, kCMTimeRoundingMethod_RoundHalfAwayFromZero).value, 667);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(2, 3), 1000, kCMTimeRoundingMethod_RoundTowardZero).value, 666);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(-2, 3), 1000, kCMTimeRoundingMethod_RoundTowardNegativeInfinity).value,
              -667);
    EXPECT_EQ(CMTimeConvertScale(CMTimeMake(1, 3), 1000, kCMTimeRoundingMethod_RoundAwayFromZero).value, 334);
    EXPECT_TRUE(CMTIME_HAS_BEEN_ROUNDED(CMTimeConvertScale(CMTimeMake(1, 3), 1000, kCMTimeRoundingMethod_Default)));
    EXPECT_FALSE(CMTIME_HAS_BEEN_ROUNDED(CMTimeConvertScale(CMTimeMake(1, 2), 1000, kCMTimeRoundingMethod_Default)));
}

// CMSimpleQueue across threads is checked with the pool (cv_pixel_buffer_test.cpp).
using cm_simple_queue = platform_test_t;
TEST_F(cm_simple_queue, create_refuses_bad_arguments_and_reports_a_switched_failure) {
    CMSimpleQueueRef queue = nullptr;
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 0, &queue), kCMSimpleQueueError_ParameterOutOfRange);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, -3, &queue), kCMSimpleQueueError_ParameterOutOfRange);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 3, nullptr), kCMSimpleQueueError_RequiredParameterMissing);
    probe::set_failure(failing_call_t::simple_queue_create, kCMSimpleQueueError_AllocationFailed);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 8, &queue), kCMSimpleQueueError_AllocationFailed);
    EXPECT_EQ(queue, nullptr);
}

TEST_F(cm_simple_queue, a_full_queue_refuses_more_and_gives_back_what_it_holds_in_order) {
    CMSimpleQueueRef queue = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 2, &queue), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, nullptr), kCMSimpleQueueError_RequiredParameterMissing);
    EXPECT_TRUE(CMSimpleQueueGetCount(queue) == 0 && CMSimpleQueueGetCapacity(queue) == 2);
    CFNumberRef a = make_int32(1);
    static int items[10];
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, a), noErr);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, &items[0]), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, &items[1]), kCMSimpleQueueError_QueueIsFull);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 2);
    EXPECT_FLOAT_EQ(CMSimpleQueueGetFullness(queue), 1.0f);
    EXPECT_EQ(CMSimpleQueueGetHead(queue), a);
    EXPECT_EQ(CMSimpleQueueDequeue(queue), a);
    EXPECT_EQ(CMSimpleQueueDequeue(queue), &items[0]);  // items[1] never got in
    EXPECT_EQ(CMSimpleQueueDequeue(queue), nullptr);
    EXPECT_EQ(CMSimpleQueueGetHead(queue), nullptr);
    release({queue, a});
}

// Fill, take one, refill: the order holds as the storage wraps round.
TEST_F(cm_simple_queue, order_holds_as_the_storage_wraps_round) {
    CMSimpleQueueRef queue = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 2, &queue), noErr);
    static int items[10];
    std::size_t next_in = 0, next_out = 0;
    for (int round = 0; round < 10; ++round) {
        while (next_in < 10 && CMSimpleQueueEnqueue(queue, &items[next_in]) == noErr) ++next_in;
        ASSERT_EQ(CMSimpleQueueDequeue(queue), &items[next_out++]);
    }
    while (const void* item = CMSimpleQueueDequeue(queue)) EXPECT_EQ(item, &items[next_out++]);
    EXPECT_EQ(next_out, 10u);
    CFRelease(queue);
}

TEST_F(cm_simple_queue, neither_a_reset_nor_the_end_of_the_queue_releases_what_is_queued) {
    CMSimpleQueueRef queue = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 2, &queue), noErr);
    CFNumberRef a = make_int32(1);
    ASSERT_EQ(CMSimpleQueueEnqueue(queue, a), noErr);
    CMSimpleQueueReset(queue);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 0);
    CMSimpleQueueEnqueue(queue, a);
    CFRelease(queue);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    CFRelease(a);
}

CMVideoFormatDescriptionRef video(CMVideoCodecType codec, int32_t width, int32_t height,
                                  CFDictionaryRef extensions = nullptr) {
    CMVideoFormatDescriptionRef description = nullptr;
    EXPECT_EQ(CMVideoFormatDescriptionCreate(nullptr, codec, width, height, extensions, &description), noErr);
    return description;
}

CVPixelBufferRef pixels(size_t width, size_t height, OSType format = kCVPixelFormatType_32BGRA) {
    CVPixelBufferRef buffer = nullptr;
    EXPECT_EQ(CVPixelBufferCreate(nullptr, width, height, format, nullptr, &buffer), kCVReturnSuccess);
    return buffer;
}

using cm_format_description = platform_test_t;
TEST_F(cm_format_description, equality_compares_codec_dimensions_and_extensions) {
    CFDictionaryRef primaries =
        make_dictionary(kCMFormatDescriptionExtension_ColorPrimaries, kCVImageBufferColorPrimaries_ITU_R_709_2);
    CFDictionaryRef same_primaries =
        make_dictionary(kCMFormatDescriptionExtension_ColorPrimaries, kCVImageBufferColorPrimaries_ITU_R_709_2);
    CFDictionaryRef empty = make_dictionary(nullptr, nullptr, 0);
    const CMVideoCodecType yuv = kCMPixelFormat_422YpCbCr8;
    const struct {
        const char* m_name;
        CMVideoFormatDescriptionRef m_a, m_b;
        bool m_equal;
    } cases[] = {
        {"same codec and size", video(yuv, 1920, 1080), video(yuv, 1920, 1080), true},
        {"other codec", video(yuv, 1920, 1080), video(kCMPixelFormat_32BGRA, 1920, 1080), false},
        {"other width", video(yuv, 1920, 1080), video(yuv, 1280, 1080), false},
        {"other height", video(yuv, 1920, 1080), video(yuv, 1920, 720), false},
        {"extension against none", video(yuv, 640, 480, primaries), video(yuv, 640, 480), false},
        {"equal extensions", video(yuv, 640, 480, primaries), video(yuv, 640, 480, same_primaries), true},
        {"empty extensions against none", video(yuv, 640, 480, empty), video(yuv, 640, 480), true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_name);
        EXPECT_EQ(CMFormatDescriptionEqual(c.m_a, c.m_b) != 0, c.m_equal);
        EXPECT_EQ(CMFormatDescriptionEqual(c.m_b, c.m_a) != 0, c.m_equal);
        EXPECT_EQ(CFEqual(c.m_a, c.m_b) != 0, c.m_equal);
        release({c.m_a, c.m_b});
    }
    release({primaries, same_primaries, empty});
}

TEST_F(cm_format_description, a_video_description_answers_its_fields_and_keeps_its_own_extensions) {
    CFMutableDictionaryRef extensions =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(extensions, kCMFormatDescriptionExtension_FormatName, CFSTR("Component Y'CbCr"));
    CMVideoFormatDescriptionRef description = video(kCMVideoCodecType_422YpCbCr8, 1280, 720, extensions);
    // The description keeps its own copy: later changes to the caller's dictionary do not show.
    CFDictionarySetValue(extensions, kCMFormatDescriptionExtension_Depth, kCFBooleanTrue);
    EXPECT_EQ(CMFormatDescriptionGetMediaType(description), static_cast<CMMediaType>(kCMMediaType_Video));
    EXPECT_EQ(CMFormatDescriptionGetMediaSubType(description),
              static_cast<FourCharCode>(kCVPixelFormatType_422YpCbCr8));
    const CMVideoDimensions dimensions = CMVideoFormatDescriptionGetDimensions(description);
    EXPECT_TRUE(dimensions.width == 1280 && dimensions.height == 720);
    EXPECT_EQ(CFDictionaryGetCount(CMFormatDescriptionGetExtensions(description)), 1);
    EXPECT_TRUE(CFEqual(CMFormatDescriptionGetExtension(description, kCMFormatDescriptionExtension_FormatName),
                        CFSTR("Component Y'CbCr")));
    release({description, extensions});
}

TEST_F(cm_format_description, one_made_from_an_image_buffer_takes_its_propagated_attachments_as_extensions) {
    // From an image buffer: equal to a plain description until a propagated attachment of the
    // buffer becomes an extension.
    CVPixelBufferRef buffer = pixels(33, 17, kCVPixelFormatType_422YpCbCr8);
    CMVideoFormatDescriptionRef from_buffer = nullptr, with_matrix = nullptr;
    ASSERT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, buffer, &from_buffer), noErr);
    CMVideoFormatDescriptionRef plain = video(kCMPixelFormat_422YpCbCr8, 33, 17);
    EXPECT_TRUE(CMFormatDescriptionEqual(from_buffer, plain));
    EXPECT_TRUE(CMVideoFormatDescriptionMatchesImageBuffer(plain, buffer));
    CVBufferSetAttachment(buffer, kCVImageBufferYCbCrMatrixKey, kCVImageBufferYCbCrMatrix_ITU_R_709_2,
                          kCVAttachmentMode_ShouldPropagate);
    ASSERT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, buffer, &with_matrix), noErr);
    EXPECT_FALSE(CMFormatDescriptionEqual(with_matrix, plain));
    release({with_matrix, plain, from_buffer, buffer});
}

TEST_F(cm_format_description, audio_descriptions_compare_by_their_stream_description) {
    AudioStreamBasicDescription asbd{48000, kAudioFormatLinearPCM, kAudioFormatFlagsNativeFloatPacked, 8, 1, 8, 2, 32,
                                     0};
    CMAudioFormatDescriptionRef a = nullptr, b = nullptr;
    ASSERT_EQ(CMAudioFormatDescriptionCreate(nullptr, &asbd, 0, nullptr, 0, nullptr, nullptr, &a), noErr);
    asbd.mSampleRate = 44100;
    ASSERT_EQ(CMAudioFormatDescriptionCreate(nullptr, &asbd, 0, nullptr, 0, nullptr, nullptr, &b), noErr);
    EXPECT_EQ(CMFormatDescriptionGetMediaType(a), static_cast<CMMediaType>(kCMMediaType_Audio));
    EXPECT_EQ(CMAudioFormatDescriptionGetStreamBasicDescription(a)->mSampleRate, 48000);
    EXPECT_FALSE(CMFormatDescriptionEqual(a, b));
    release({a, b});
}

TEST_F(cm_format_description, creation_reports_a_switched_failure_and_refuses_missing_arguments) {
    probe::set_failure(failing_call_t::format_description_create, kCMFormatDescriptionError_AllocationFailed);
    CMVideoFormatDescriptionRef failed = nullptr;
    EXPECT_EQ(CMVideoFormatDescriptionCreate(nullptr, kCMPixelFormat_32BGRA, 8, 8, nullptr, &failed),
              kCMFormatDescriptionError_AllocationFailed);
    CVPixelBufferRef buffer = pixels(8, 8);
    EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, buffer, &failed),
              kCMFormatDescriptionError_AllocationFailed);
    EXPECT_EQ(failed, nullptr);
    probe::clear_failures();
    EXPECT_EQ(CMVideoFormatDescriptionCreate(nullptr, kCMPixelFormat_32BGRA, 8, 8, nullptr, nullptr),
              kCMFormatDescriptionError_InvalidParameter);
    EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, nullptr, &failed),
              kCMFormatDescriptionError_InvalidParameter);
    CFRelease(buffer);
}

using cm_sample_buffer = platform_test_t;
// One sample buffer walked through its life: refused when the description does not fit, then
// holding image and description, timing, and attachments that it retains and propagates by mode.
TEST_F(cm_sample_buffer, holds_image_and_description_by_get_rule_and_attachments_by_mode) {
    CVPixelBufferRef image = pixels(64, 48);
    CMVideoFormatDescriptionRef description = nullptr, other_size = video(kCMPixelFormat_32BGRA, 32, 48);
    ASSERT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, image, &description), noErr);
    const CMSampleTimingInfo invalid = kCMTimingInfoInvalid;
    CMSampleBufferRef sample = nullptr;
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, image, other_size, &invalid, &sample),
              kCMSampleBufferError_InvalidMediaFormat);
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, image, nullptr, &invalid, &sample),
              kCMSampleBufferError_RequiredParameterMissing);
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, nullptr, other_size, &invalid, &sample),
              kCMSampleBufferError_RequiredParameterMissing);
    EXPECT_EQ(sample, nullptr);
    EXPECT_EQ(CFGetRetainCount(image), 1);
    CFRelease(other_size);
    CMSampleTimingInfo timing{CMTimeMake(1001, 30000), CMTimeMake(5, 1), CMTimeMake(5, 1)};
    ASSERT_EQ(CMSampleBufferCreateForImageBuffer(nullptr, image, true, nullptr, nullptr, description, &timing, &sample),
              noErr);
    EXPECT_EQ(CFGetRetainCount(sample), 1);
    EXPECT_EQ(CMSampleBufferGetImageBuffer(sample), image);
    EXPECT_EQ(CMSampleBufferGetFormatDescription(sample), description);
    EXPECT_TRUE(CFGetRetainCount(image) == 2 && CFGetRetainCount(description) == 2);
    EXPECT_EQ(CMSampleBufferGetNumSamples(sample), 1);
    EXPECT_EQ(CMTimeCompare(CMSampleBufferGetPresentationTimeStamp(sample), CMTimeMake(5, 1)), 0);
    EXPECT_EQ(CMTimeCompare(CMSampleBufferGetDuration(sample), CMTimeMake(1001, 30000)), 0);
    CMSampleTimingInfo read{};
    EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(sample, 1, &read), kCMSampleBufferError_SampleIndexOutOfRange);
    EXPECT_TRUE(CMSampleBufferDataIsReady(sample));
    CFNumberRef sequence = make_int32(12);
    CMSetAttachment(sample, CFSTR("SequenceNumber"), sequence, kCMAttachmentMode_ShouldNotPropagate);
    CMSetAttachment(sample, CFSTR("Tag"), kCFBooleanTrue, kCMAttachmentMode_ShouldPropagate);
    EXPECT_EQ(CFGetRetainCount(sequence), 2);
    CMAttachmentMode mode = 99;
    EXPECT_EQ(CMGetAttachment(sample, CFSTR("SequenceNumber"), &mode), sequence);
    EXPECT_EQ(mode, static_cast<CMAttachmentMode>(kCMAttachmentMode_ShouldNotPropagate));
    EXPECT_EQ(CFGetRetainCount(sequence), 2);  // Get rule
    EXPECT_EQ(CMGetAttachment(sample, CFSTR("Missing"), nullptr), nullptr);
    // Only propagating attachments travel to another bearer (here the pixel buffer).
    CMPropagateAttachments(sample, image);
    EXPECT_EQ(CMGetAttachment(image, CFSTR("Tag"), nullptr), kCFBooleanTrue);
    EXPECT_EQ(CMGetAttachment(image, CFSTR("SequenceNumber"), nullptr), nullptr);
    CFDictionaryRef kept = CMCopyDictionaryOfAttachments(nullptr, sample, kCMAttachmentMode_ShouldNotPropagate);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(CFDictionaryGetCount(kept), 1);
    CFRelease(kept);
    CMRemoveAttachment(sample, CFSTR("SequenceNumber"));
    EXPECT_EQ(CFGetRetainCount(sequence), 1);
    CMSetAttachment(sample, CFSTR("SequenceNumber"), sequence, kCMAttachmentMode_ShouldNotPropagate);
    CFRelease(sample);  // the sample's end releases all it still holds
    EXPECT_EQ(CFGetRetainCount(sequence), 1);
    EXPECT_TRUE(CFGetRetainCount(image) == 1 && CFGetRetainCount(description) == 1);
    release({sequence, description, image});
}

}  // namespace
