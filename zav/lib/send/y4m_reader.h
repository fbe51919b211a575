// Reads a YUV4MPEG2 file (8-bit 4:2:0 or 4:2:2, progressive) frame by frame, starting again at the
// first frame after the last, and gives each picture as UYVY or BGRA (BT.709, studio range).
#ifndef ZAV_LIB_SEND_Y4M_READER_H
#define ZAV_LIB_SEND_Y4M_READER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "wire/video_params.h"

namespace Drivers::Mac::ZAV {

class y4m_reader_t {
public:
    // Null, with the reason in *p_error, when the file cannot be read or its format is not supported.
    static std::unique_ptr<y4m_reader_t> open(const std::string& path, std::string* p_error);
    ~y4m_reader_t();

    int width() const { return m_width; }
    int height() const { return m_height; }
    int rate_num() const { return m_rate_num; }
    int rate_den() const { return m_rate_den; }

    // The next picture in the sampling asked for (4:2:2 or BGRA), rows of row_bytes; null on a read error.
    const uint8_t* next(sampling_e sampling);

private:
    y4m_reader_t() = default;
    bool read_planes();

    std::FILE* m_p_file = nullptr;
    long m_first_frame = 0;
    int m_width = 0, m_height = 0, m_rate_num = 25, m_rate_den = 1;
    bool m_422 = false;
    std::vector<uint8_t> m_planes;
    std::vector<uint8_t> m_out;
};

}  // namespace Drivers::Mac::ZAV

#endif
