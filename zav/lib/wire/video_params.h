// The format parameters of an uncompressed video stream, as they travel out of band (a DNS-SD TXT
// record or a sources-file line): "sampling=YCbCr-4:2:2; width=1280; height=720; depth=8;
// exactframerate=30000/1001; colorimetry=BT709-2", plus "interlace" for interlaced sources and
// "pt=N" for a payload type other than 96.
#ifndef ZAV_LIB_WIRE_VIDEO_PARAMS_H
#define ZAV_LIB_WIRE_VIDEO_PARAMS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Drivers::Mac::ZAV {

// Largest picture the library accepts in either direction; bounds every buffer a sender can ask for.
constexpr int max_picture_side = 8192;
constexpr int default_payload_type = 96;

enum class sampling_e { ycbcr_422, bgra, rgba, rgb, bgr };

// One pixel group: the smallest run of pixels whose bytes stand alone on the wire.
struct pixel_group_t {
    int bytes;
    int pixels;
};

pixel_group_t pixel_group(sampling_e sampling);
const char* sampling_name(sampling_e sampling);

struct video_params_t {
    sampling_e sampling = sampling_e::ycbcr_422;
    int width = 0;
    int height = 0;
    int rate_num = 30000;
    int rate_den = 1001;
    std::string colorimetry = "BT709-2";
    bool interlaced = false;
    int payload_type = default_payload_type;

    // Bytes of one row as sent: whole pixel groups, no padding.
    std::size_t row_bytes() const;
    std::size_t frame_bytes() const { return row_bytes() * std::size_t(height); }
    bool operator==(const video_params_t& other) const;
};

// The parameters as "key=value" pairs, in the order they are written.
std::vector<std::pair<std::string, std::string>> params_to_pairs(const video_params_t& params);
// "sampling=...; width=...; ...", the text form used in sources files.
std::string params_to_text(const video_params_t& params);

// Reads parameters from key=value pairs. False, with a reason in *p_error, when a key is missing or
// a value is not acceptable (unknown sampling, depth other than 8, sizes out of range or not whole
// pixel groups, bad frame rate, bad payload type). An interlaced stream parses (it is refused
// where it is used, with its own log line).
bool params_from_pairs(const std::vector<std::pair<std::string, std::string>>& pairs, video_params_t* p_params,
                       std::string* p_error);
// The same from the text form; the separators are ';' and blanks.
bool params_from_text(const std::string& text, video_params_t* p_params, std::string* p_error);

}  // namespace Drivers::Mac::ZAV

#endif
