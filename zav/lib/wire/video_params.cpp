#include "wire/video_params.h"

#include <cerrno>
#include <cstdlib>

namespace Drivers::Mac::ZAV {

namespace {

struct sampling_entry_t {
    sampling_e sampling;
    const char* name;
    pixel_group_t group;
};

constexpr sampling_entry_t sampling_table[] = {
    {sampling_e::ycbcr_422, "YCbCr-4:2:2", {4, 2}},
    {sampling_e::bgra, "BGRA", {4, 1}},
    {sampling_e::rgba, "RGBA", {4, 1}},
    {sampling_e::rgb, "RGB", {3, 1}},
    {sampling_e::bgr, "BGR", {3, 1}},
};

bool parse_int(const std::string& text, long low, long high, int* p_value) {
    if (text.empty() || text.size() > 10) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    const long value = std::strtol(text.c_str(), nullptr, 10);
    if (value < low || value > high) return false;
    *p_value = int(value);
    return true;
}

// "60", "30000/1001" or "29.97" style rates are not all alike: integer and fraction forms only.
bool parse_rate(const std::string& text, int* p_num, int* p_den) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) {
        *p_den = 1;
        return parse_int(text, 1, 1000, p_num);
    }
    return parse_int(text.substr(0, slash), 1, 1000000, p_num) &&
           parse_int(text.substr(slash + 1), 1, 1000000, p_den) && *p_num / *p_den <= 1000;
}

}  // namespace

pixel_group_t pixel_group(sampling_e sampling) {
    for (const sampling_entry_t& entry : sampling_table)
        if (entry.sampling == sampling) return entry.group;
    return {4, 1};
}

const char* sampling_name(sampling_e sampling) {
    for (const sampling_entry_t& entry : sampling_table)
        if (entry.sampling == sampling) return entry.name;
    return "?";
}

std::size_t video_params_t::row_bytes() const {
    const pixel_group_t group = pixel_group(sampling);
    return std::size_t(width) / std::size_t(group.pixels) * std::size_t(group.bytes);
}

bool video_params_t::operator==(const video_params_t& other) const {
    return sampling == other.sampling && width == other.width && height == other.height && rate_num == other.rate_num &&
           rate_den == other.rate_den && colorimetry == other.colorimetry && interlaced == other.interlaced &&
           payload_type == other.payload_type;
}

std::vector<std::pair<std::string, std::string>> params_to_pairs(const video_params_t& params) {
    std::vector<std::pair<std::string, std::string>> pairs = {
        {"sampling", sampling_name(params.sampling)},
        {"width", std::to_string(params.width)},
        {"height", std::to_string(params.height)},
        {"depth", "8"},
        {"exactframerate", params.rate_den == 1
                               ? std::to_string(params.rate_num)
                               : std::to_string(params.rate_num) + "/" + std::to_string(params.rate_den)},
        {"colorimetry", params.colorimetry},
    };
    if (params.payload_type != default_payload_type) pairs.emplace_back("pt", std::to_string(params.payload_type));
    if (params.interlaced) pairs.emplace_back("interlace", "");
    return pairs;
}

std::string params_to_text(const video_params_t& params) {
    std::string text;
    for (const auto& [key, value] : params_to_pairs(params)) {
        if (!text.empty()) text += "; ";
        text += value.empty() ? key : key + "=" + value;
    }
    return text;
}

bool params_from_pairs(const std::vector<std::pair<std::string, std::string>>& pairs, video_params_t* p_params,
                       std::string* p_error) {
    video_params_t params;
    bool have_sampling = false, have_width = false, have_height = false;
    auto fail = [&](const std::string& reason) {
        if (p_error) *p_error = reason;
        return false;
    };
    for (const auto& [key, value] : pairs) {
        if (key == "sampling") {
            have_sampling = false;
            for (const sampling_entry_t& entry : sampling_table)
                if (value == entry.name) {
                    params.sampling = entry.sampling;
                    have_sampling = true;
                }
            if (!have_sampling) return fail("unknown sampling \"" + value + "\"");
        } else if (key == "width") {
            if (!parse_int(value, 1, max_picture_side, &params.width)) return fail("bad width \"" + value + "\"");
            have_width = true;
        } else if (key == "height") {
            if (!parse_int(value, 1, max_picture_side, &params.height)) return fail("bad height \"" + value + "\"");
            have_height = true;
        } else if (key == "depth") {
            if (value != "8") return fail("depth " + value + " is not supported (8 only)");
        } else if (key == "exactframerate") {
            if (!parse_rate(value, &params.rate_num, &params.rate_den)) return fail("bad frame rate \"" + value + "\"");
        } else if (key == "colorimetry") {
            params.colorimetry = value;
        } else if (key == "interlace") {
            params.interlaced = true;
        } else if (key == "pt") {
            if (!parse_int(value, 96, 127, &params.payload_type)) return fail("bad payload type \"" + value + "\"");
        }
        // Other keys (TCS, RANGE, PAR, ...) are allowed and not used.
    }
    if (!have_sampling) return fail("no sampling");
    if (!have_width || !have_height) return fail("no width or height");
    if (params.width % pixel_group(params.sampling).pixels != 0)
        return fail("width " + std::to_string(params.width) + " is not a whole number of pixel groups");
    *p_params = params;
    return true;
}

bool params_from_text(const std::string& text, video_params_t* p_params, std::string* p_error) {
    std::vector<std::pair<std::string, std::string>> pairs;
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && (text[i] == ';' || text[i] == ' ' || text[i] == '\t')) ++i;
        std::size_t end = i;
        while (end < text.size() && text[end] != ';' && text[end] != ' ' && text[end] != '\t') ++end;
        if (end == i) break;
        const std::string item = text.substr(i, end - i);
        const std::size_t equals = item.find('=');
        if (equals == std::string::npos)
            pairs.emplace_back(item, "");
        else
            pairs.emplace_back(item.substr(0, equals), item.substr(equals + 1));
        i = end;
    }
    return params_from_pairs(pairs, p_params, p_error);
}

}  // namespace Drivers::Mac::ZAV
