// The one description of what a stream delivers: pixel layout in the receive library's terms,
// picture size, frame rate and the CoreMedia format description shown to clients.
#ifndef ZAV_PLUGIN_OBJECTS_VIDEO_FORMAT_H
#define ZAV_PLUGIN_OBJECTS_VIDEO_FORMAT_H

#include <CoreMedia/CoreMedia.h>
#include <zav/zav_lib.h>

namespace Drivers::Mac::ZAV::VirtualCamera {

// Only the UYVY and BGRX layouts are meaningful; they map to CoreVideo '2vuy' and 'BGRA'.
// The record has no lock of its own: its owner guards it.
class video_format_t {
public:
    // UYVY 1280 x 720 at 30000/1000 with no format description.
    video_format_t() = default;
    // Stores the values and creates the matching video format description (left null when
    // creation fails). A rate with denominator 0 is 0.0 frames per second.
    video_format_t(ZAVlib_FourCC_video_type_e fourcc, int xres, int yres, int fr_num, int fr_den);
    video_format_t(const video_format_t& other);
    video_format_t& operator=(const video_format_t& other);
    ~video_format_t();

    // Equal rates (compared as fractions) and equal format descriptions.
    bool operator==(const video_format_t& other) const;
    bool operator!=(const video_format_t& other) const;
    bool is_compatible_with(CMFormatDescriptionRef description) const;

    ZAVlib_FourCC_video_type_e get_fourcc_zav() const { return m_fourcc; }
    // The CoreVideo pixel format of the layout; 0 (logged) for an unknown layout.
    OSType get_fourcc_cm() const;
    // The colour format to ask the receiver for; the out-of-range value (logged) for an unknown
    // layout.
    ZAVlib_recv_color_format_e get_recv_color_zav() const;
    int get_xres() const { return m_xres; }
    int get_yres() const { return m_yres; }
    int get_fr_num() const { return m_fr_num; }
    int get_fr_den() const { return m_fr_den; }
    double get_frame_rate() const { return m_frame_rate; }
    // The format description without an added retain: retain it to hand it on.
    CMFormatDescriptionRef get_ref() const { return m_p_description; }

    // Adopts a client's video description of subtype '2vuy' or 'BGRA': layout, size and the
    // description itself; the frame rate is kept. Refuses (logged, unchanged) anything else.
    bool update(CMFormatDescriptionRef description);
    // Sets num/den and the matching double; false and unchanged when den is 0.
    bool set_frame_rate(int num, int den);
    // Keeps `rate` as given and derives a fraction over 1000 (or 1001 when that is strictly
    // closer, which only happens for rates below 0.001 or NaN).
    bool set_frame_rate(double rate);

private:
    ZAVlib_FourCC_video_type_e m_fourcc = ZAVlib_FourCC_video_type_UYVY;
    int m_xres = 1280;
    int m_yres = 720;
    int m_fr_num = 30000;
    int m_fr_den = 1000;
    double m_frame_rate = 30.0;
    // One retain, released in the destructor.
    CMFormatDescriptionRef m_p_description = nullptr;
};

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#endif
