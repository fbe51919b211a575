#include "objects/video_format.h"

#include "host/zav_log.h"

#include <CoreVideo/CoreVideo.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// Truncates toward zero as the processor's conversion instruction does on x86: values outside
// the 32-bit range and NaN give the most negative value. Written out because the C++
// conversion is undefined there and other processors saturate instead.
int32_t truncate_to_int32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

// Products wrap around in 32 bits, as the rate comparison is defined on them.
uint32_t wrapping_product(int a, int b) {
    return static_cast<uint32_t>(a) * static_cast<uint32_t>(b);
}

}  // namespace

video_format_t::video_format_t(ZAVlib_FourCC_video_type_e fourcc, int xres, int yres, int fr_num, int fr_den)
    : m_fourcc(fourcc),
      m_xres(xres),
      m_yres(yres),
      m_fr_num(fr_num),
      m_fr_den(fr_den),
      m_frame_rate(fr_den != 0 ? static_cast<double>(fr_num) / static_cast<double>(fr_den) : 0.0) {
    // An unknown layout still asks for a description, with codec 0; a refusal leaves it null.
    CMVideoFormatDescriptionCreate(kCFAllocatorDefault, get_fourcc_cm(), xres, yres, nullptr, &m_p_description);
}

video_format_t::video_format_t(const video_format_t& other) {
    *this = other;
}

video_format_t& video_format_t::operator=(const video_format_t& other) {
    m_frame_rate = other.m_frame_rate;
    m_fourcc = other.m_fourcc;
    m_xres = other.m_xres;
    m_yres = other.m_yres;
    m_fr_num = other.m_fr_num;
    m_fr_den = other.m_fr_den;
    // Retained before the old one is released, so that assigning a record to itself is safe.
    if (other.m_p_description != nullptr) CFRetain(other.m_p_description);
    if (m_p_description != nullptr) CFRelease(m_p_description);
    m_p_description = other.m_p_description;
    return *this;
}

video_format_t::~video_format_t() {
    if (m_p_description != nullptr) CFRelease(m_p_description);
}

bool video_format_t::operator==(const video_format_t& other) const {
    return wrapping_product(m_fr_num, other.m_fr_den) == wrapping_product(other.m_fr_num, m_fr_den) &&
           CMFormatDescriptionEqual(m_p_description, other.m_p_description);
}

bool video_format_t::operator!=(const video_format_t& other) const {
    return !(*this == other);
}

bool video_format_t::is_compatible_with(CMFormatDescriptionRef description) const {
    return CMFormatDescriptionEqual(m_p_description, description);
}

OSType video_format_t::get_fourcc_cm() const {
    switch (m_fourcc) {
        case ZAVlib_FourCC_video_type_UYVY:
            return kCVPixelFormatType_422YpCbCr8;
        case ZAVlib_FourCC_video_type_BGRX:
            return kCVPixelFormatType_32BGRA;
        default:
            zav_log("video_format::get_fourcc_cm unexpected value");
            return 0;
    }
}

ZAVlib_recv_color_format_e video_format_t::get_recv_color_zav() const {
    switch (m_fourcc) {
        case ZAVlib_FourCC_video_type_UYVY:
            return ZAVlib_recv_color_format_UYVY_BGRA;
        case ZAVlib_FourCC_video_type_BGRX:
            return ZAVlib_recv_color_format_BGRX_BGRA;
        default:
            zav_log("video_format_t::get_recv_color_zav unexpected value");
            return ZAVlib_recv_color_format_max;
    }
}

bool video_format_t::update(CMFormatDescriptionRef description) {
    if (description == nullptr) {
        zav_log("video_format::update null format");
        return false;
    }
    if (CMFormatDescriptionGetMediaType(description) != kCMMediaType_Video) {
        zav_log("video_format::update not a video format");
        return false;
    }
    const FourCharCode subtype = CMFormatDescriptionGetMediaSubType(description);
    if (subtype != kCVPixelFormatType_32BGRA && subtype != kCVPixelFormatType_422YpCbCr8) {
        zav_log("video_format::update not supported colorspace");
        return false;
    }

    m_fourcc = subtype == kCVPixelFormatType_32BGRA ? ZAVlib_FourCC_video_type_BGRX : ZAVlib_FourCC_video_type_UYVY;
    const CMVideoDimensions dimensions = CMVideoFormatDescriptionGetDimensions(description);
    m_xres = dimensions.width;
    m_yres = dimensions.height;

    CFRetain(description);
    if (m_p_description != nullptr) CFRelease(m_p_description);
    m_p_description = description;
    return true;
}

bool video_format_t::set_frame_rate(int num, int den) {
    if (den == 0) return false;
    m_fr_num = num;
    m_fr_den = den;
    m_frame_rate = static_cast<double>(num) / static_cast<double>(den);
    return true;
}

bool video_format_t::set_frame_rate(double rate) {
    m_frame_rate = rate;
    m_fr_num = truncate_to_int32(rate * 1000.0);
    const double error_1000 = std::fabs(rate - m_fr_num / 1000.0);
    const double error_1001 = std::fabs(rate - m_fr_num / 1001.0);
    // The same numerator over 1000 is at least as close for every ordinary rate; ties and NaN
    // go to 1001.
    m_fr_den = error_1001 > error_1000 ? 1000 : 1001;
    return true;
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera
