// The headers compile as C and C and C++ agree on the records that cross between a plug-in
// written in C, the platform and a client.
#include "header_layout.h"

#include <Accelerate/Accelerate.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreMedia/CoreMedia.h>

#include <gtest/gtest.h>

namespace {

struct cpp_interface_t {
    IUNKNOWN_C_GUTS;
    int extra;
};

TEST(header_layout, c_and_cpp_agree_on_records_and_constants) {
    zav_c_layout_t c{};
    zav_c_layout(&c);
    EXPECT_EQ(c.cmtime_size, sizeof(CMTime));
    EXPECT_EQ(c.cmtime_epoch_offset, offsetof(CMTime, epoch));
    EXPECT_EQ(c.timing_info_size, sizeof(CMSampleTimingInfo));
    EXPECT_EQ(c.uuid_bytes_size, sizeof(CFUUIDBytes));
    EXPECT_EQ(c.vimage_buffer_size, sizeof(vImage_Buffer));
    EXPECT_EQ(c.affine_transform_size, sizeof(vImage_AffineTransform));
    EXPECT_EQ(c.array_callbacks_size, sizeof(CFArrayCallBacks));
    EXPECT_EQ(c.key_callbacks_size, sizeof(CFDictionaryKeyCallBacks));
    EXPECT_EQ(c.asbd_size, sizeof(AudioStreamBasicDescription));
    EXPECT_EQ(c.dimensions_size, sizeof(CMVideoDimensions));
    EXPECT_EQ(c.iunknown_release_offset, offsetof(cpp_interface_t, Release));
    EXPECT_EQ(c.e_nointerface, static_cast<long>(E_NOINTERFACE));
    EXPECT_EQ(c.utf8_encoding, static_cast<unsigned long>(kCFStringEncodingUTF8));
}

TEST(header_layout, records_have_the_sizes_of_the_64_bit_abi) {
    // Fixed by the ABI that plug-ins built against the real frameworks use.
    EXPECT_EQ(sizeof(CMTime), 24u);
    EXPECT_EQ(offsetof(CMTime, epoch), 16u);
    EXPECT_EQ(sizeof(CMSampleTimingInfo), 72u);
    EXPECT_EQ(sizeof(CFUUIDBytes), 16u);
    EXPECT_EQ(sizeof(vImage_Buffer), 32u);
    EXPECT_EQ(sizeof(vImage_AffineTransform), 24u);
    EXPECT_EQ(sizeof(AudioStreamBasicDescription), 40u);
    EXPECT_EQ(offsetof(IUnknownVTbl, QueryInterface), sizeof(void*));
    EXPECT_EQ(sizeof(IUnknownVTbl), 4 * sizeof(void*));
}

}  // namespace
