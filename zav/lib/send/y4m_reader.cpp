#include "send/y4m_reader.h"

#include "common/pixel_convert.h"

#include <cstring>
#include <sstream>

namespace Drivers::Mac::ZAV {

std::unique_ptr<y4m_reader_t> y4m_reader_t::open(const std::string& path, std::string* p_error) {
    std::unique_ptr<y4m_reader_t> reader(new y4m_reader_t);
    reader->m_p_file = std::fopen(path.c_str(), "rb");
    if (!reader->m_p_file) {
        *p_error = "cannot open " + path;
        return nullptr;
    }
    char header[512];
    if (!std::fgets(header, sizeof header, reader->m_p_file) || std::strncmp(header, "YUV4MPEG2 ", 10) != 0) {
        *p_error = path + " is not a YUV4MPEG2 file";
        return nullptr;
    }
    std::istringstream words(header + 10);
    std::string word;
    while (words >> word) {
        const std::string value = word.substr(1);
        switch (word[0]) {
            case 'W':
                reader->m_width = std::atoi(value.c_str());
                break;
            case 'H':
                reader->m_height = std::atoi(value.c_str());
                break;
            case 'F':
                if (std::sscanf(value.c_str(), "%d:%d", &reader->m_rate_num, &reader->m_rate_den) != 2 ||
                    reader->m_rate_num <= 0 || reader->m_rate_den <= 0) {
                    *p_error = "bad frame rate in " + path;
                    return nullptr;
                }
                break;
            case 'I':
                if (value != "p" && value != "?") {
                    *p_error = path + " is interlaced: progressive files only";
                    return nullptr;
                }
                break;
            case 'C':
                if (value.rfind("420", 0) == 0)
                    reader->m_422 = false;
                else if (value == "422")
                    reader->m_422 = true;
                else {
                    *p_error = "colour space " + value + " of " + path + " is not supported (420 or 422, 8 bits)";
                    return nullptr;
                }
                break;
            default:
                break;
        }
    }
    if (reader->m_width <= 0 || reader->m_height <= 0 || reader->m_width > max_picture_side ||
        reader->m_height > max_picture_side || reader->m_width % 2 != 0) {
        *p_error = "picture size of " + path + " not supported";
        return nullptr;
    }
    reader->m_first_frame = std::ftell(reader->m_p_file);
    return reader;
}

y4m_reader_t::~y4m_reader_t() {
    if (m_p_file) std::fclose(m_p_file);
}

bool y4m_reader_t::read_planes() {
    const std::size_t luma = std::size_t(m_width) * std::size_t(m_height);
    const std::size_t chroma = std::size_t(m_width / 2) * std::size_t(m_422 ? m_height : (m_height + 1) / 2);
    m_planes.resize(luma + 2 * chroma);
    for (int attempt = 0; attempt < 2; ++attempt) {
        char line[256];
        if (std::fgets(line, sizeof line, m_p_file) && std::strncmp(line, "FRAME", 5) == 0 &&
            std::fread(m_planes.data(), 1, m_planes.size(), m_p_file) == m_planes.size())
            return true;
        std::fseek(m_p_file, m_first_frame, SEEK_SET);  // end of file: loop
    }
    return false;
}

const uint8_t* y4m_reader_t::next(sampling_e sampling) {
    if (!read_planes()) return nullptr;
    const int w = m_width, h = m_height, cw = w / 2;
    const uint8_t* y = m_planes.data();
    const uint8_t* u = y + std::size_t(w) * std::size_t(h);
    const uint8_t* v = u + std::size_t(cw) * std::size_t(m_422 ? h : (h + 1) / 2);
    const planar_picture_t planes{y, u, v, w, h, !m_422};
    if (sampling == sampling_e::ycbcr_422) {
        m_out.resize(std::size_t(w) * 2 * std::size_t(h));
        planar_to_uyvy(planes, m_out.data(), w * 2);
    } else {
        m_out.resize(std::size_t(w) * 4 * std::size_t(h));
        planar_to_bgra_709(planes, m_out.data(), w * 4);
    }
    return m_out.data();
}

}  // namespace Drivers::Mac::ZAV
