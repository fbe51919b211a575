// Pixel buffers and pools: row padding, locks, recycling, attributes and failure switches.
#include "platform_test.h"

#include <CoreMedia/CoreMedia.h>
#include <CoreVideo/CoreVideo.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

namespace {

// Rows are padded to 64 bytes, as Apple's are, so that row bytes differ from width × bytes per
// pixel; the memory starts on a 64-byte boundary and all of it is writable.
struct padded_rows_case_t {
    const char* m_name;
    OSType m_format;
    size_t m_width, m_unpadded;  // width × bytes per pixel
};

void PrintTo(const padded_rows_case_t& c, std::ostream* out) {
    *out << c.m_name;
}

class cv_pixel_buffer_rows : public platform_test_t, public ::testing::WithParamInterface<padded_rows_case_t> {};

TEST_P(cv_pixel_buffer_rows, are_padded_to_64_bytes) {
    const padded_rows_case_t& c = GetParam();
    CVPixelBufferRef buffer = nullptr;
    ASSERT_EQ(CVPixelBufferCreate(nullptr, c.m_width, 3, c.m_format, nullptr, &buffer), kCVReturnSuccess);
    const size_t row_bytes = CVPixelBufferGetBytesPerRow(buffer);
    EXPECT_EQ(row_bytes % 64, 0u);
    EXPECT_TRUE(row_bytes >= c.m_unpadded && row_bytes < c.m_unpadded + 64) << row_bytes;
    EXPECT_EQ(CVPixelBufferGetDataSize(buffer), row_bytes * 3);
    EXPECT_EQ(CVPixelBufferGetWidth(buffer), c.m_width);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(CVPixelBufferGetBaseAddress(buffer)) % 64, 0u);
    std::memset(CVPixelBufferGetBaseAddress(buffer), 0xAB, CVPixelBufferGetDataSize(buffer));  // all writable
    CVPixelBufferRelease(buffer);
}

const padded_rows_case_t k_padded_rows[] = {
    {"bgra_1_wide", kCVPixelFormatType_32BGRA, 1, 4},
    {"bgra_1366_wide", kCVPixelFormatType_32BGRA, 1366, 5464},
    {"bgra_1920_wide", kCVPixelFormatType_32BGRA, 1920, 7680},
    {"2vuy_1_wide", kCVPixelFormatType_422YpCbCr8, 1, 4},
    {"2vuy_33_wide", kCVPixelFormatType_422YpCbCr8, 33, 68},
    {"2vuy_1280_wide", kCVPixelFormatType_422YpCbCr8, 1280, 2560},
    {"yuvs_721_wide", kCVPixelFormatType_422YpCbCr8_yuvs, 721, 1444},
    {"argb_17_wide", kCVPixelFormatType_32ARGB, 17, 68},
    {"rgb24_5_wide", kCVPixelFormatType_24RGB, 5, 15},
};

std::string padded_rows_name(const ::testing::TestParamInfo<padded_rows_case_t>& param) {
    return param.param.m_name;
}

INSTANTIATE_TEST_SUITE_P(formats, cv_pixel_buffer_rows, ::testing::ValuesIn(k_padded_rows), padded_rows_name);

using cv_pixel_buffer = platform_test_t;
TEST_F(cv_pixel_buffer, a_row_alignment_attribute_widens_the_padding) {
    CFNumberRef alignment = make_int32(256);
    CFDictionaryRef attributes = make_dictionary(kCVPixelBufferBytesPerRowAlignmentKey, alignment);
    CVPixelBufferRef buffer = nullptr;
    ASSERT_EQ(CVPixelBufferCreate(nullptr, 70, 2, kCVPixelFormatType_32BGRA, attributes, &buffer), kCVReturnSuccess);
    EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer), 512u);  // 280 bytes rounded up to 256
    release({buffer, attributes, alignment});
}

// Wrapped bytes keep the caller's stride and are given back once, when the buffer ends.
TEST_F(cv_pixel_buffer, wrapped_bytes_keep_their_stride_and_are_given_back_once_at_the_end) {
    CVPixelBufferRef buffer = nullptr;
    std::vector<uint8_t> pixels(100 * 10);
    std::vector<const void*> given_back;
    const auto give_back = [](void* refcon, const void* address) {
        static_cast<std::vector<const void*>*>(refcon)->push_back(address);
    };
    ASSERT_EQ(CVPixelBufferCreateWithBytes(nullptr, 20, 10, kCVPixelFormatType_32BGRA, pixels.data(), 100, give_back,
                                           &given_back, nullptr, &buffer),
              kCVReturnSuccess);
    EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer), 100u);
    EXPECT_EQ(CVPixelBufferGetBaseAddress(buffer), pixels.data());
    EXPECT_TRUE(given_back.empty());
    CVPixelBufferRelease(buffer);
    EXPECT_EQ(given_back, std::vector<const void*>{pixels.data()});
    EXPECT_EQ(CVPixelBufferCreateWithBytes(nullptr, 30, 10, kCVPixelFormatType_32BGRA, pixels.data(), 100, nullptr,
                                           nullptr, nullptr, &buffer),
              kCVReturnInvalidArgument);  // 30 pixels need 120 bytes a row
}

// Bad arguments and the failure switch leave the output untouched.
TEST_F(cv_pixel_buffer, create_refuses_bad_arguments_and_reports_a_switched_failure) {
    CVPixelBufferRef buffer = nullptr;
    EXPECT_EQ(CVPixelBufferCreate(nullptr, 0, 10, kCVPixelFormatType_32BGRA, nullptr, &buffer), kCVReturnInvalidSize);
    EXPECT_EQ(CVPixelBufferCreate(nullptr, 10, 0, kCVPixelFormatType_32BGRA, nullptr, &buffer), kCVReturnInvalidSize);
    EXPECT_EQ(CVPixelBufferCreate(nullptr, 10, 10, 0x3F3F3F3F, nullptr, &buffer), kCVReturnInvalidPixelFormat);
    EXPECT_EQ(CVPixelBufferCreate(nullptr, 10, 10, kCVPixelFormatType_32BGRA, nullptr, nullptr),
              kCVReturnInvalidArgument);
    probe::set_failure(failing_call_t::pixel_buffer_create, kCVReturnAllocationFailed);
    EXPECT_EQ(CVPixelBufferCreate(nullptr, 8, 8, kCVPixelFormatType_32BGRA, nullptr, &buffer),
              kCVReturnAllocationFailed);
    EXPECT_EQ(buffer, nullptr);
}

TEST_F(cv_pixel_buffer, locks_of_the_base_address_are_counted_by_kind) {
    CVPixelBufferRef buffer = nullptr;
    ASSERT_EQ(CVPixelBufferCreate(nullptr, 8, 8, kCVPixelFormatType_32BGRA, nullptr, &buffer), kCVReturnSuccess);
    EXPECT_NE(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnSuccess);  // never locked
    for (const CVPixelBufferLockFlags flags : {0, 0, int{kCVPixelBufferLock_ReadOnly}})
        EXPECT_EQ(CVPixelBufferLockBaseAddress(buffer, flags), kCVReturnSuccess);
    EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnSuccess);
    EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnSuccess);
    EXPECT_NE(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnSuccess);  // only the read-only lock is left
    EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, kCVPixelBufferLock_ReadOnly), kCVReturnSuccess);
    EXPECT_NE(CVPixelBufferUnlockBaseAddress(buffer, kCVPixelBufferLock_ReadOnly), kCVReturnSuccess);
    EXPECT_EQ(CVPixelBufferLockBaseAddress(nullptr, 0), kCVReturnInvalidArgument);
    CVPixelBufferRelease(buffer);
}

TEST(cv_pixel_buffer_null, release_and_retain_accept_null) {
    CVPixelBufferRelease(nullptr);  // accepted, as CoreVideo's release functions accept NULL
    EXPECT_EQ(CVPixelBufferRetain(nullptr), nullptr);
}

class cv_pixel_buffer_pool : public platform_test_t {
protected:
    void TearDown() override {
        CVPixelBufferPoolRelease(m_pool);
        if (m_attributes != nullptr) CFRelease(m_attributes);
        platform_test_t::TearDown();
    }
    void make_pool(OSType format, SInt32 width, SInt32 height) {
        const void* numbers[] = {make_int32(static_cast<SInt32>(format)), make_int32(width), make_int32(height)};
        const void* keys[] = {kCVPixelBufferPixelFormatTypeKey, kCVPixelBufferWidthKey, kCVPixelBufferHeightKey};
        m_attributes = make_dictionary(keys, numbers, 3);
        release({numbers[0], numbers[1], numbers[2]});
        ASSERT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, m_attributes, &m_pool), kCVReturnSuccess);
    }
    CVPixelBufferRef take() {
        CVPixelBufferRef buffer = nullptr;
        EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(nullptr, m_pool, &buffer), kCVReturnSuccess);
        return buffer;
    }
    CFDictionaryRef m_attributes = nullptr;
    CVPixelBufferPoolRef m_pool = nullptr;
};

TEST_F(cv_pixel_buffer_pool, released_buffers_are_reused) {
    make_pool(kCVPixelFormatType_422YpCbCr8, 1366, 4);
    EXPECT_TRUE(CFEqual(CVPixelBufferPoolGetPixelBufferAttributes(m_pool), m_attributes));
    CVPixelBufferRef first = take(), second = take();
    EXPECT_EQ(CFGetRetainCount(first), 1);
    EXPECT_EQ(CVPixelBufferGetWidth(first), 1366u);
    EXPECT_EQ(CVPixelBufferGetBytesPerRow(first), 2752u);  // 2732 bytes padded to 64
    void* const first_memory = CVPixelBufferGetBaseAddress(first);
    EXPECT_NE(first_memory, CVPixelBufferGetBaseAddress(second));  // both in use: distinct memory
    CVPixelBufferRelease(first);
    CVPixelBufferRef third = take();
    EXPECT_EQ(CVPixelBufferGetBaseAddress(third), first_memory);  // the released buffer came back
    release({third, second});
}

// Keeping one frame in flight, as a capture loop does, cycles through two blocks only.
TEST_F(cv_pixel_buffer_pool, one_frame_in_flight_cycles_through_two_blocks) {
    make_pool(kCVPixelFormatType_422YpCbCr8, 1366, 4);
    std::set<void*> memory;
    CVPixelBufferRef previous = take();
    for (int frame = 0; frame < 100; ++frame) {
        CVPixelBufferRef buffer = take();
        memory.insert(CVPixelBufferGetBaseAddress(buffer));
        CVPixelBufferRelease(previous);
        previous = buffer;
    }
    EXPECT_LE(memory.size(), 2u);
    CVPixelBufferRelease(previous);
}

// Incomplete attributes and the failure switches for making a pool and taking from one.
TEST_F(cv_pixel_buffer_pool, incomplete_attributes_and_switched_failures_are_refused) {
    make_pool(kCVPixelFormatType_422YpCbCr8, 1366, 4);
    CVPixelBufferPoolRef pool = nullptr;
    CVPixelBufferRef buffer = nullptr;
    CFNumberRef width = make_int32(10);
    CFDictionaryRef width_only = make_dictionary(kCVPixelBufferWidthKey, width);
    EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, width_only, &pool), kCVReturnInvalidPixelBufferAttributes);
    EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, nullptr, &pool), kCVReturnInvalidPixelBufferAttributes);
    release({width_only, width});
    probe::set_failure(failing_call_t::pixel_buffer_pool_create, kCVReturnPoolAllocationFailed);
    EXPECT_EQ(CVPixelBufferPoolCreate(nullptr, nullptr, m_attributes, &pool), kCVReturnPoolAllocationFailed);
    probe::set_failure(failing_call_t::pool_create_pixel_buffer, kCVReturnWouldExceedAllocationThreshold);
    EXPECT_EQ(CVPixelBufferPoolCreatePixelBuffer(nullptr, m_pool, &buffer), kCVReturnWouldExceedAllocationThreshold);
    EXPECT_TRUE(pool == nullptr && buffer == nullptr);
    probe::clear_failures();
    CVPixelBufferRelease(take());
}

// The last buffer outlives its pool: its memory is freed then, not handed to a dead pool.
TEST_F(cv_pixel_buffer_pool, a_buffer_outlives_its_pool) {
    make_pool(kCVPixelFormatType_422YpCbCr8, 1366, 4);
    CVPixelBufferRef previous = take();
    CVPixelBufferPoolRelease(m_pool);
    m_pool = nullptr;
    std::memset(CVPixelBufferGetBaseAddress(previous), 0, CVPixelBufferGetDataSize(previous));
    CVPixelBufferRelease(previous);
}

// A capture thread takes buffers while a client thread releases the ones it was sent through a
// simple queue: nothing is lost, reordered or freed twice on either side. Both sides give up five
// seconds after the start, so that a hand-off that stalls fails the test instead of hanging it.
TEST_F(cv_pixel_buffer_pool, buffers_sent_through_a_queue_and_released_on_other_threads_return_safely) {
    make_pool(kCVPixelFormatType_422YpCbCr8, 64, 8);
    CMSimpleQueueRef handoff = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 4, &handoff), noErr);
    constexpr int k_frames = 10000;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    const auto in_time = [deadline] { return std::chrono::steady_clock::now() < deadline; };
    int received = 0, out_of_order = 0;
    std::thread client([&] {
        while (received < k_frames && in_time()) {
            auto buffer = static_cast<CVPixelBufferRef>(const_cast<void*>(CMSimpleQueueDequeue(handoff)));
            if (buffer == nullptr) {
                std::this_thread::yield();
                continue;
            }
            out_of_order += *static_cast<uint8_t*>(CVPixelBufferGetBaseAddress(buffer)) != uint8_t(received++);
            CVPixelBufferRelease(buffer);
        }
    });
    for (int frame = 0; frame < k_frames; ++frame) {
        CVPixelBufferRef buffer = take();
        if (buffer == nullptr) break;
        static_cast<uint8_t*>(CVPixelBufferGetBaseAddress(buffer))[0] = static_cast<uint8_t>(frame);
        bool queued = false;
        while (!(queued = CMSimpleQueueEnqueue(handoff, buffer) == noErr) && in_time()) std::this_thread::yield();
        if (!queued) {
            CVPixelBufferRelease(buffer);
            break;
        }
    }
    client.join();
    EXPECT_EQ(received, k_frames) << "the hand-off stalled";
    EXPECT_EQ(out_of_order, 0);
    // What the client did not take before its deadline is still owned by the queue's sender.
    while (const void* left = CMSimpleQueueDequeue(handoff))
        CVPixelBufferRelease(static_cast<CVPixelBufferRef>(const_cast<void*>(left)));
    CFRelease(handoff);
}

}  // namespace
