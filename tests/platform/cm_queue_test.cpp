// CMSimpleQueue: full and empty behaviour, no retaining, wrap-around, bad arguments and its
// failure switch. Use across threads is checked with the pool (cv_pixel_buffer_test.cpp).
#include "platform_test.h"

#include <CoreMedia/CoreMedia.h>

namespace {

using cm_simple_queue = platform_test_t;

TEST_F(cm_simple_queue, full_queue_refuses_keeps_order_through_wrap_around_and_retains_nothing) {
    CMSimpleQueueRef queue = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 2, &queue), noErr);
    CFNumberRef a = make_int32(1);
    static int items[10];
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, a), noErr);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, &items[0]), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, &items[1]), kCMSimpleQueueError_QueueIsFull);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 2);
    EXPECT_FLOAT_EQ(CMSimpleQueueGetFullness(queue), 1.0f);
    EXPECT_EQ(CMSimpleQueueGetHead(queue), a);
    EXPECT_EQ(CMSimpleQueueDequeue(queue), a);
    EXPECT_EQ(CMSimpleQueueDequeue(queue), &items[0]);  // items[1] never got in
    EXPECT_EQ(CMSimpleQueueDequeue(queue), nullptr);
    EXPECT_EQ(CMSimpleQueueGetHead(queue), nullptr);
    // Fill, take one, refill: the order holds as the storage wraps round.
    std::size_t next_in = 0, next_out = 0;
    for (int round = 0; round < 10; ++round) {
        while (next_in < 10 && CMSimpleQueueEnqueue(queue, &items[next_in]) == noErr) ++next_in;
        ASSERT_EQ(CMSimpleQueueDequeue(queue), &items[next_out++]);
    }
    while (const void* item = CMSimpleQueueDequeue(queue)) EXPECT_EQ(item, &items[next_out++]);
    EXPECT_EQ(next_out, 10u);
    // Neither a reset nor the queue's end releases what is still queued.
    CMSimpleQueueEnqueue(queue, a);
    CMSimpleQueueReset(queue);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 0);
    CMSimpleQueueEnqueue(queue, a);
    CFRelease(queue);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    CFRelease(a);
}

TEST_F(cm_simple_queue, bad_arguments_and_failure_switch_get_their_error_codes) {
    CMSimpleQueueRef queue = nullptr;
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 0, &queue), kCMSimpleQueueError_ParameterOutOfRange);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, -3, &queue), kCMSimpleQueueError_ParameterOutOfRange);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 3, nullptr), kCMSimpleQueueError_RequiredParameterMissing);
    zav_platform::probe::set_failure(zav_platform::probe::failing_call_t::simple_queue_create,
                                     kCMSimpleQueueError_AllocationFailed);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 8, &queue), kCMSimpleQueueError_AllocationFailed);
    EXPECT_EQ(queue, nullptr);
    zav_platform::probe::clear_failures();
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 1, &queue), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, nullptr), kCMSimpleQueueError_RequiredParameterMissing);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 0);
    EXPECT_EQ(CMSimpleQueueGetCapacity(queue), 1);
    CFRelease(queue);
}

}  // namespace
