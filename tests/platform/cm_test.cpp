// Format descriptions (equality, from image buffers, audio), sample buffers and attachments.
#include "platform_test.h"

#include <CoreMedia/CoreMedia.h>
#include <CoreVideo/CoreVideo.h>

namespace {

using zav_platform::probe::failing_call_t;

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

TEST_F(cm_format_description, equality_table) {
    CFDictionaryRef primaries =
        make_dictionary(kCMFormatDescriptionExtension_ColorPrimaries, kCVImageBufferColorPrimaries_ITU_R_709_2);
    CFDictionaryRef same_primaries =
        make_dictionary(kCMFormatDescriptionExtension_ColorPrimaries, kCVImageBufferColorPrimaries_ITU_R_709_2);
    CFDictionaryRef empty = make_dictionary(nullptr, nullptr, 0);
    const CMVideoCodecType yuv = kCMPixelFormat_422YpCbCr8;
    const struct {
        CMVideoFormatDescriptionRef m_a, m_b;
        bool m_equal;
    } cases[] = {
        {video(yuv, 1920, 1080), video(yuv, 1920, 1080), true},
        {video(yuv, 1920, 1080), video(kCMPixelFormat_32BGRA, 1920, 1080), false},
        {video(yuv, 1920, 1080), video(yuv, 1280, 1080), false},
        {video(yuv, 1920, 1080), video(yuv, 1920, 720), false},
        {video(yuv, 640, 480, primaries), video(yuv, 640, 480), false},
        {video(yuv, 640, 480, primaries), video(yuv, 640, 480, same_primaries), true},
        {video(yuv, 640, 480, empty), video(yuv, 640, 480), true},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(CMFormatDescriptionEqual(cases[i].m_a, cases[i].m_b) != 0, cases[i].m_equal);
        EXPECT_EQ(CMFormatDescriptionEqual(cases[i].m_b, cases[i].m_a) != 0, cases[i].m_equal);
        EXPECT_EQ(CFEqual(cases[i].m_a, cases[i].m_b) != 0, cases[i].m_equal);
        release({cases[i].m_a, cases[i].m_b});
    }
    release({primaries, same_primaries, empty});
}

TEST_F(cm_format_description, accessors_copied_extensions_image_buffers_audio_and_failures) {
    CFMutableDictionaryRef extensions =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(extensions, kCMFormatDescriptionExtension_FormatName, CFSTR("Component Y'CbCr"));
    CMVideoFormatDescriptionRef description = video(kCMVideoCodecType_422YpCbCr8, 1280, 720, extensions);
    // The description keeps its own copy: later changes to the caller's dictionary do not show.
    CFDictionarySetValue(extensions, kCMFormatDescriptionExtension_Depth, kCFBooleanTrue);
    EXPECT_EQ(CMFormatDescriptionGetMediaType(description), static_cast<CMMediaType>(kCMMediaType_Video));
    EXPECT_EQ(CMFormatDescriptionGetMediaSubType(description), static_cast<FourCharCode>(kCVPixelFormatType_422YpCbCr8));
    const CMVideoDimensions dimensions = CMVideoFormatDescriptionGetDimensions(description);
    EXPECT_TRUE(dimensions.width == 1280 && dimensions.height == 720);
    EXPECT_EQ(CFDictionaryGetCount(CMFormatDescriptionGetExtensions(description)), 1);
    EXPECT_TRUE(CFEqual(CMFormatDescriptionGetExtension(description, kCMFormatDescriptionExtension_FormatName),
                        CFSTR("Component Y'CbCr")));
    release({description, extensions});

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

    zav_platform::probe::set_failure(failing_call_t::format_description_create,
                                     kCMFormatDescriptionError_AllocationFailed);
    CMVideoFormatDescriptionRef failed = nullptr;
    EXPECT_EQ(CMVideoFormatDescriptionCreate(nullptr, kCMPixelFormat_32BGRA, 8, 8, nullptr, &failed),
              kCMFormatDescriptionError_AllocationFailed);
    buffer = pixels(8, 8);
    EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, buffer, &failed),
              kCMFormatDescriptionError_AllocationFailed);
    EXPECT_EQ(failed, nullptr);
    zav_platform::probe::clear_failures();
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
    EXPECT_EQ(CFGetRetainCount(image), 2);
    EXPECT_EQ(CFGetRetainCount(description), 2);
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
    EXPECT_EQ(CFGetRetainCount(image), 1);
    EXPECT_EQ(CFGetRetainCount(description), 1);
    release({sequence, description, image});
}

}  // namespace
