// The frame pool: released buffers come back for frames of the same size, two sizes in turn keep
// their buffers, the pool keeps no more than it was told, and frames outlive their pool.
#include <gtest/gtest.h>

#include "wire/frame.h"

using namespace Drivers::Mac::ZAV;

namespace {

TEST(frame_pool_test, ReleasedBufferServesTheNextFrameOfItsSize) {
    auto pool = frame_pool_t::create();
    uint8_t* first = pool->acquire(1000)->p_data;
    frame_ptr_t again = pool->acquire(1000);
    EXPECT_EQ(again->p_data, first);
    EXPECT_EQ(again->capacity, 1000u);
}

TEST(frame_pool_test, TwoSizesInTurnKeepTheirBuffers) {
    auto pool = frame_pool_t::create();
    uint8_t* small = pool->acquire(100)->p_data;
    uint8_t* large = pool->acquire(400)->p_data;
    EXPECT_EQ(pool->acquire(100)->p_data, small);
    EXPECT_EQ(pool->acquire(400)->p_data, large);
}

TEST(frame_pool_test, FrameFieldsAreResetOnReuse) {
    auto pool = frame_pool_t::create();
    {
        frame_ptr_t frame = pool->acquire(64);
        frame->width = 7;
        frame->send_time_100ns = 99;
    }
    frame_ptr_t frame = pool->acquire(64);
    EXPECT_EQ(frame->width, 0);
    EXPECT_EQ(frame->send_time_100ns, 0);
}

TEST(frame_pool_test, KeepsNoMoreThanItsLimit) {
    auto pool = frame_pool_t::create(2);
    {
        std::vector<frame_ptr_t> frames;
        for (int i = 0; i < 5; ++i) frames.push_back(pool->acquire(32));
    }
    EXPECT_EQ(pool->kept(), 2u);
}

TEST(frame_pool_test, FrameOutlivesItsPool) {
    frame_ptr_t frame;
    {
        auto pool = frame_pool_t::create();
        frame = pool->acquire(16);
    }
    frame->p_data[15] = 1;  // still its own memory; freed without a pool to go back to
    frame.reset();
}

}  // namespace
