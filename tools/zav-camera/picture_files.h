// Writing received pictures to files: a Y4M stream of frames and PNG snapshots.
#ifndef ZAV_TOOLS_ZAV_CAMERA_PICTURE_FILES_H
#define ZAV_TOOLS_ZAV_CAMERA_PICTURE_FILES_H

#include "cmio_camera.h"

#include <cstdio>
#include <string>

namespace zav_camera {

// A Y4M file: '2vuy' frames as planar 4:2:2, 'BGRA' frames as 4:4:4 (BT.709, studio range).
class y4m_writer_t {
public:
    // Opens (truncates) the file; `ok()` tells whether it could.
    y4m_writer_t(const std::string& path, const format_t& format, double frame_rate);
    ~y4m_writer_t();
    y4m_writer_t(const y4m_writer_t&) = delete;
    y4m_writer_t& operator=(const y4m_writer_t&) = delete;

    bool ok() const { return m_p_file != nullptr && !m_failed; }
    // Appends one frame of the format the file was opened with; false on a write error or a
    // frame of another size.
    bool write(const sample_t& sample);

private:
    std::FILE* m_p_file = nullptr;
    format_t m_format;
    bool m_failed = false;
};

// Writes one picture as an 8-bit RGB PNG; false with a message in `error` when it cannot.
bool write_png(const std::string& path, const sample_t& sample, std::string& error);

}  // namespace zav_camera

#endif
