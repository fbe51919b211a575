// CMFormatDescription: generic, video and audio descriptions.
#include "cm_format_description.h"

#include "CoreVideo/cv_pixel_buffer.h"
#include "probe/failure_switches.h"

#include <cstdio>
#include <cstring>

namespace zav_platform {

CFTypeID cm_format_description_t::class_type_id() {
    static const CFTypeID id = register_cf_type("CMFormatDescription");
    return id;
}

cm_format_description_t::cm_format_description_t(CMMediaType media_type, FourCharCode subtype,
                                                 CFDictionaryRef extensions)
    : cf_object_t(class_type_id()),
      m_media_type(media_type),
      m_subtype(subtype),
      m_p_extensions(extensions != nullptr && CFDictionaryGetCount(extensions) > 0
                         ? CFDictionaryCreateCopy(nullptr, extensions)
                         : nullptr) {}

cm_format_description_t::~cm_format_description_t() {
    if (m_p_extensions != nullptr) CFRelease(m_p_extensions);
}

bool cm_format_description_t::equal_to(const cf_object_t& other) const {
    const auto& that = static_cast<const cm_format_description_t&>(other);
    if (m_media_type != that.m_media_type || m_subtype != that.m_subtype) return false;
    if (m_dimensions.width != that.m_dimensions.width || m_dimensions.height != that.m_dimensions.height) return false;
    if (std::memcmp(&m_asbd, &that.m_asbd, sizeof m_asbd) != 0) return false;
    if (m_channel_layout != that.m_channel_layout || m_magic_cookie != that.m_magic_cookie) return false;
    // No extensions and an empty dictionary are the same.
    if (m_p_extensions == nullptr || that.m_p_extensions == nullptr) return m_p_extensions == that.m_p_extensions;
    return CFEqual(m_p_extensions, that.m_p_extensions);
}

CFHashCode cm_format_description_t::hash() const {
    return (static_cast<CFHashCode>(m_media_type) << 32) ^ m_subtype ^
           (static_cast<CFHashCode>(static_cast<UInt32>(m_dimensions.width)) << 16) ^
           static_cast<UInt32>(m_dimensions.height);
}

std::string cm_format_description_t::description() const {
    auto fourcc = [](UInt32 code) {
        std::string text(4, ' ');
        for (int i = 0; i < 4; ++i)
            text[static_cast<std::size_t>(i)] = static_cast<char>((code >> (24 - 8 * i)) & 0xFF);
        return text;
    };
    char text[160];
    std::snprintf(text, sizeof text, "<CMFormatDescription %p '%s' '%s' %dx%d>", static_cast<const void*>(this),
                  fourcc(m_media_type).c_str(), fourcc(m_subtype).c_str(), m_dimensions.width, m_dimensions.height);
    return text;
}

}  // namespace zav_platform

using namespace zav_platform;

namespace {

const cm_format_description_t* description_of(CMFormatDescriptionRef ref) {
    return cf_cast<cm_format_description_t>(ref);
}

OSStatus forced_failure() {
    OSStatus status = 0;
    return should_fail(probe::failing_call_t::format_description_create, &status) ? status : 0;
}

}  // namespace

const CFStringRef kCMFormatDescriptionExtension_OriginalCompressionSettings = CFSTR("OriginalCompressionSettings");
const CFStringRef kCMFormatDescriptionExtension_FormatName = CFSTR("FormatName");
const CFStringRef kCMFormatDescriptionExtension_Depth = CFSTR("Depth");
const CFStringRef kCMFormatDescriptionExtension_FieldCount = CFSTR("CVFieldCount");
const CFStringRef kCMFormatDescriptionExtension_PixelAspectRatio = CFSTR("CVPixelAspectRatio");
const CFStringRef kCMFormatDescriptionExtension_ColorPrimaries = CFSTR("CVImageBufferColorPrimaries");
const CFStringRef kCMFormatDescriptionExtension_TransferFunction = CFSTR("CVImageBufferTransferFunction");
const CFStringRef kCMFormatDescriptionExtension_YCbCrMatrix = CFSTR("CVImageBufferYCbCrMatrix");
const CFStringRef kCMFormatDescriptionExtension_FullRangeVideo = CFSTR("FullRangeVideo");
const CFStringRef kCMFormatDescriptionExtension_BytesPerRow = CFSTR("CVBytesPerRow");
const CFStringRef kCMFormatDescriptionExtension_Version = CFSTR("Version");
const CFStringRef kCMFormatDescriptionExtension_RevisionLevel = CFSTR("RevisionLevel");
const CFStringRef kCMFormatDescriptionExtension_Vendor = CFSTR("Vendor");

CFTypeID CMFormatDescriptionGetTypeID(void) {
    return cm_format_description_t::class_type_id();
}

OSStatus CMFormatDescriptionCreate(CFAllocatorRef, CMMediaType mediaType, FourCharCode mediaSubType,
                                   CFDictionaryRef extensions, CMFormatDescriptionRef* formatDescriptionOut) {
    if (formatDescriptionOut == nullptr) return kCMFormatDescriptionError_InvalidParameter;
    if (extensions != nullptr && CFGetTypeID(extensions) != CFDictionaryGetTypeID())
        return kCMFormatDescriptionError_InvalidParameter;
    *formatDescriptionOut =
        cf_ref<CMFormatDescriptionRef>(new cm_format_description_t(mediaType, mediaSubType, extensions));
    return noErr;
}

Boolean CMFormatDescriptionEqual(CMFormatDescriptionRef formatDescription,
                                 CMFormatDescriptionRef otherFormatDescription) {
    const cm_format_description_t* a = description_of(formatDescription);
    const cm_format_description_t* b = description_of(otherFormatDescription);
    if (a == nullptr || b == nullptr) return a == b && formatDescription == otherFormatDescription;
    return a == b || a->equal_to(*b);
}

CMMediaType CMFormatDescriptionGetMediaType(CMFormatDescriptionRef desc) {
    const cm_format_description_t* d = description_of(desc);
    return d != nullptr ? d->media_type() : 0;
}

FourCharCode CMFormatDescriptionGetMediaSubType(CMFormatDescriptionRef desc) {
    const cm_format_description_t* d = description_of(desc);
    return d != nullptr ? d->subtype() : 0;
}

CFDictionaryRef CMFormatDescriptionGetExtensions(CMFormatDescriptionRef desc) {
    const cm_format_description_t* d = description_of(desc);
    return d != nullptr ? d->extensions() : nullptr;
}

CFPropertyListRef CMFormatDescriptionGetExtension(CMFormatDescriptionRef desc, CFStringRef extensionKey) {
    const cm_format_description_t* d = description_of(desc);
    if (d == nullptr || d->extensions() == nullptr || extensionKey == nullptr) return nullptr;
    return CFDictionaryGetValue(d->extensions(), extensionKey);
}

OSStatus CMVideoFormatDescriptionCreate(CFAllocatorRef, CMVideoCodecType codecType, int32_t width, int32_t height,
                                        CFDictionaryRef extensions, CMVideoFormatDescriptionRef* formatDescriptionOut) {
    if (formatDescriptionOut == nullptr || width < 0 || height < 0) return kCMFormatDescriptionError_InvalidParameter;
    if (extensions != nullptr && CFGetTypeID(extensions) != CFDictionaryGetTypeID())
        return kCMFormatDescriptionError_InvalidParameter;
    if (const OSStatus forced = forced_failure()) return forced;
    auto* description = new cm_format_description_t(kCMMediaType_Video, codecType, extensions);
    description->m_dimensions = CMVideoDimensions{width, height};
    *formatDescriptionOut = cf_ref<CMVideoFormatDescriptionRef>(description);
    return noErr;
}

OSStatus CMVideoFormatDescriptionCreateForImageBuffer(CFAllocatorRef allocator, CVImageBufferRef imageBuffer,
                                                      CMVideoFormatDescriptionRef* formatDescriptionOut) {
    if (formatDescriptionOut == nullptr) return kCMFormatDescriptionError_InvalidParameter;
    const cv_pixel_buffer_t* buffer = cf_cast<cv_pixel_buffer_t>(imageBuffer);
    if (buffer == nullptr) return kCMFormatDescriptionError_InvalidParameter;
    // The buffer's propagated attachments (colour primaries, matrix, ...) become extensions.
    CFDictionaryRef extensions = buffer->copy_dictionary(kCMAttachmentMode_ShouldPropagate);
    const OSStatus status = CMVideoFormatDescriptionCreate(
        allocator, buffer->layout().m_format, static_cast<int32_t>(buffer->layout().m_width),
        static_cast<int32_t>(buffer->layout().m_height), extensions, formatDescriptionOut);
    if (extensions != nullptr) CFRelease(extensions);
    return status;
}

CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMVideoFormatDescriptionRef videoDesc) {
    const cm_format_description_t* d = description_of(videoDesc);
    return d != nullptr ? d->m_dimensions : CMVideoDimensions{0, 0};
}

Boolean CMVideoFormatDescriptionMatchesImageBuffer(CMVideoFormatDescriptionRef desc, CVImageBufferRef imageBuffer) {
    const cm_format_description_t* d = description_of(desc);
    const cv_pixel_buffer_t* buffer = cf_cast<cv_pixel_buffer_t>(imageBuffer);
    if (d == nullptr || buffer == nullptr || d->media_type() != kCMMediaType_Video) return false;
    return d->subtype() == buffer->layout().m_format &&
           d->m_dimensions.width == static_cast<int32_t>(buffer->layout().m_width) &&
           d->m_dimensions.height == static_cast<int32_t>(buffer->layout().m_height);
}

OSStatus CMAudioFormatDescriptionCreate(CFAllocatorRef, const AudioStreamBasicDescription* asbd, size_t layoutSize,
                                        const AudioChannelLayout* layout, size_t magicCookieSize,
                                        const void* magicCookie, CFDictionaryRef extensions,
                                        CMAudioFormatDescriptionRef* formatDescriptionOut) {
    if (formatDescriptionOut == nullptr || asbd == nullptr) return kCMFormatDescriptionError_InvalidParameter;
    if ((layoutSize > 0 && layout == nullptr) || (magicCookieSize > 0 && magicCookie == nullptr))
        return kCMFormatDescriptionError_InvalidParameter;
    if (asbd->mChannelsPerFrame == 0 || asbd->mSampleRate < 0) return kCMFormatDescriptionError_InvalidParameter;
    if (extensions != nullptr && CFGetTypeID(extensions) != CFDictionaryGetTypeID())
        return kCMFormatDescriptionError_InvalidParameter;
    auto* description = new cm_format_description_t(kCMMediaType_Audio, asbd->mFormatID, extensions);
    description->m_asbd = *asbd;
    const auto* layout_bytes = reinterpret_cast<const unsigned char*>(layout);
    const auto* cookie_bytes = static_cast<const unsigned char*>(magicCookie);
    if (layoutSize > 0) description->m_channel_layout.assign(layout_bytes, layout_bytes + layoutSize);
    if (magicCookieSize > 0) description->m_magic_cookie.assign(cookie_bytes, cookie_bytes + magicCookieSize);
    *formatDescriptionOut = cf_ref<CMAudioFormatDescriptionRef>(description);
    return noErr;
}

const AudioStreamBasicDescription* CMAudioFormatDescriptionGetStreamBasicDescription(CMAudioFormatDescriptionRef desc) {
    const cm_format_description_t* d = description_of(desc);
    return d != nullptr && d->media_type() == kCMMediaType_Audio ? &d->m_asbd : nullptr;
}

const AudioChannelLayout* CMAudioFormatDescriptionGetChannelLayout(CMAudioFormatDescriptionRef desc, size_t* sizeOut) {
    const cm_format_description_t* d = description_of(desc);
    const bool has = d != nullptr && !d->m_channel_layout.empty();
    if (sizeOut != nullptr) *sizeOut = has ? d->m_channel_layout.size() : 0;
    return has ? reinterpret_cast<const AudioChannelLayout*>(d->m_channel_layout.data()) : nullptr;
}

const void* CMAudioFormatDescriptionGetMagicCookie(CMAudioFormatDescriptionRef desc, size_t* sizeOut) {
    const cm_format_description_t* d = description_of(desc);
    const bool has = d != nullptr && !d->m_magic_cookie.empty();
    if (sizeOut != nullptr) *sizeOut = has ? d->m_magic_cookie.size() : 0;
    return has ? d->m_magic_cookie.data() : nullptr;
}
