// The object behind CMFormatDescriptionRef.
#ifndef ZAV_PLATFORM_CM_FORMAT_DESCRIPTION_H
#define ZAV_PLATFORM_CM_FORMAT_DESCRIPTION_H

#include <CoreMedia/CMFormatDescription.h>

#include "CoreFoundation/cf_object.h"

#include <vector>

namespace zav_platform {

class cm_format_description_t final : public cf_object_t {
public:
    static CFTypeID class_type_id();

    // `extensions` is copied.
    cm_format_description_t(CMMediaType media_type, FourCharCode subtype, CFDictionaryRef extensions);
    ~cm_format_description_t() override;

    CMMediaType media_type() const { return m_media_type; }
    FourCharCode subtype() const { return m_subtype; }
    CFDictionaryRef extensions() const { return m_p_extensions; }

    CMVideoDimensions m_dimensions{0, 0};
    AudioStreamBasicDescription m_asbd{};
    std::vector<unsigned char> m_channel_layout;
    std::vector<unsigned char> m_magic_cookie;

    // Media type, subtype, the type's parameters and extensions.
    bool equal_to(const cf_object_t& other) const override;
    CFHashCode hash() const override;
    std::string description() const override;

private:
    const CMMediaType m_media_type;
    const FourCharCode m_subtype;
    const CFDictionaryRef m_p_extensions;
};

}  // namespace zav_platform

#endif
