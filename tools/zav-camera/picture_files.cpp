#include "picture_files.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace zav_camera {

namespace {

uint8_t clamp_byte(double value) {
    return uint8_t(std::clamp(std::lround(value), 0L, 255L));
}

// BT.709, studio range, in both directions.
void rgb_from_ycbcr(uint8_t y, uint8_t cb, uint8_t cr, uint8_t* rgb) {
    const double luma = (y - 16) * 255.0 / 219.0;
    const double blue_diff = (cb - 128) * 255.0 / 224.0;
    const double red_diff = (cr - 128) * 255.0 / 224.0;
    rgb[0] = clamp_byte(luma + 1.5748 * red_diff);
    rgb[1] = clamp_byte(luma - 0.1873 * blue_diff - 0.4681 * red_diff);
    rgb[2] = clamp_byte(luma + 1.8556 * blue_diff);
}

void ycbcr_from_bgra(const uint8_t* bgra, uint8_t& y, uint8_t& cb, uint8_t& cr) {
    const double r = bgra[2], g = bgra[1], b = bgra[0];
    const double luma = 0.2126 * r + 0.7152 * g + 0.0722 * b;
    y = clamp_byte(16 + luma * 219.0 / 255.0);
    cb = clamp_byte(128 + (b - luma) / 1.8556 * 224.0 / 255.0);
    cr = clamp_byte(128 + (r - luma) / 1.5748 * 224.0 / 255.0);
}

}  // namespace

y4m_writer_t::y4m_writer_t(const std::string& path, const format_t& format, double frame_rate) : m_format(format) {
    m_p_file = std::fopen(path.c_str(), "wb");
    if (m_p_file == nullptr) return;
    const int rate_num = int(std::lround(frame_rate * 1000.0));
    const char* const sampling = format.pixel_format == kCVPixelFormatType_32BGRA ? "444" : "422";
    m_failed = std::fprintf(m_p_file, "YUV4MPEG2 W%d H%d F%d:1000 Ip A1:1 C%s XCOLORRANGE=LIMITED\n", format.width,
                            format.height, rate_num, sampling) < 0;
}

y4m_writer_t::~y4m_writer_t() {
    if (m_p_file != nullptr) std::fclose(m_p_file);
}

bool y4m_writer_t::write(const sample_t& sample) {
    if (!ok()) return false;
    if (sample.format.width != m_format.width || sample.format.height != m_format.height ||
        sample.format.pixel_format != m_format.pixel_format || sample.pixels.empty())
        return false;
    const std::size_t width = std::size_t(m_format.width), height = std::size_t(m_format.height);
    const bool bgra = m_format.pixel_format == kCVPixelFormatType_32BGRA;
    const std::size_t chroma_width = bgra ? width : width / 2;
    std::vector<uint8_t> y(width * height), cb(chroma_width * height), cr(chroma_width * height);
    for (std::size_t row = 0; row < height; ++row) {
        const uint8_t* const line = sample.pixels.data() + row * sample.row_bytes;
        if (bgra) {
            for (std::size_t x = 0; x < width; ++x)
                ycbcr_from_bgra(line + 4 * x, y[row * width + x], cb[row * width + x], cr[row * width + x]);
        } else {
            for (std::size_t pair = 0; pair < chroma_width; ++pair) {
                cb[row * chroma_width + pair] = line[4 * pair];
                y[row * width + 2 * pair] = line[4 * pair + 1];
                cr[row * chroma_width + pair] = line[4 * pair + 2];
                y[row * width + 2 * pair + 1] = line[4 * pair + 3];
            }
        }
    }
    m_failed = std::fputs("FRAME\n", m_p_file) < 0 || std::fwrite(y.data(), 1, y.size(), m_p_file) != y.size() ||
               std::fwrite(cb.data(), 1, cb.size(), m_p_file) != cb.size() ||
               std::fwrite(cr.data(), 1, cr.size(), m_p_file) != cr.size();
    return !m_failed;
}

bool write_png(const std::string& path, const sample_t& sample, std::string& error) {
    const std::size_t width = std::size_t(sample.format.width), height = std::size_t(sample.format.height);
    if (sample.pixels.empty() || width == 0 || height == 0) {
        error = "the sample has no picture";
        return false;
    }
    std::vector<uint8_t> rgb(width * height * 3);
    for (std::size_t row = 0; row < height; ++row) {
        const uint8_t* const line = sample.pixels.data() + row * sample.row_bytes;
        uint8_t* const out = rgb.data() + row * width * 3;
        if (sample.format.pixel_format == kCVPixelFormatType_32BGRA) {
            for (std::size_t x = 0; x < width; ++x) {
                out[3 * x] = line[4 * x + 2];
                out[3 * x + 1] = line[4 * x + 1];
                out[3 * x + 2] = line[4 * x];
            }
        } else {
            for (std::size_t x = 0; x < width; x += 2) {
                const uint8_t* const pair = line + 2 * x;
                rgb_from_ycbcr(pair[1], pair[0], pair[2], out + 3 * x);
                if (x + 1 < width) rgb_from_ycbcr(pair[3], pair[0], pair[2], out + 3 * (x + 1));
            }
        }
    }

    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        error = "cannot open " + path + " for writing";
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        error = "libpng could not start";
        return false;
    }
    // libpng reports write errors by jumping back here.
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        error = "writing " + path + " failed";
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (std::size_t row = 0; row < height; ++row) png_write_row(png, rgb.data() + row * width * 3);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    if (std::fclose(file) != 0) {
        error = "writing " + path + " failed";
        return false;
    }
    return true;
}

}  // namespace zav_camera
