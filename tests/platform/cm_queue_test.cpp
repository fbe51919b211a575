// CMSimpleQueue: capacity, full and empty behaviour, no retaining, wrap-around, concurrent use
// and its failure switch.
#include "platform_test.h"

#include <CoreMedia/CoreMedia.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using cm_simple_queue = platform_test_t;

TEST_F(cm_simple_queue, full_queue_refuses_and_keeps_its_elements) {
    CMSimpleQueueRef queue = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 2, &queue), noErr);
    EXPECT_EQ(CFGetTypeID(queue), CMSimpleQueueGetTypeID());
    int a = 0, b = 0, c = 0;
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, &a), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, &b), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, &c), kCMSimpleQueueError_QueueIsFull);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 2);
    EXPECT_FLOAT_EQ(CMSimpleQueueGetFullness(queue), 1.0f);
    EXPECT_EQ(CMSimpleQueueGetHead(queue), &a);
    EXPECT_EQ(CMSimpleQueueDequeue(queue), &a);
    EXPECT_EQ(CMSimpleQueueDequeue(queue), &b);  // c never got in
    EXPECT_EQ(CMSimpleQueueDequeue(queue), nullptr);
    EXPECT_EQ(CMSimpleQueueGetHead(queue), nullptr);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 0);
    CFRelease(queue);
}

TEST_F(cm_simple_queue, elements_are_not_retained) {
    CMSimpleQueueRef queue = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 4, &queue), noErr);
    CFNumberRef element = make_int32(1);
    CMSimpleQueueEnqueue(queue, element);
    EXPECT_EQ(CFGetRetainCount(element), 1);
    CMSimpleQueueReset(queue);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 0);
    EXPECT_EQ(CFGetRetainCount(element), 1);  // reset releases nothing either
    CMSimpleQueueEnqueue(queue, element);
    CFRelease(queue);                         // nor does the queue's end
    EXPECT_EQ(CFGetRetainCount(element), 1);
    CFRelease(element);
}

TEST_F(cm_simple_queue, order_survives_wrap_around) {
    CMSimpleQueueRef queue = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 3, &queue), noErr);
    static int items[10];
    std::size_t next_in = 0, next_out = 0;
    for (int round = 0; round < 10; ++round) {
        while (next_in < 10 && CMSimpleQueueEnqueue(queue, &items[next_in]) == noErr) ++next_in;
        ASSERT_EQ(CMSimpleQueueDequeue(queue), &items[next_out]);
        ++next_out;
    }
    while (const void* item = CMSimpleQueueDequeue(queue)) EXPECT_EQ(item, &items[next_out++]);
    EXPECT_EQ(next_out, 10u);
    CFRelease(queue);
}

TEST_F(cm_simple_queue, bad_arguments_get_their_error_codes) {
    CMSimpleQueueRef queue = nullptr;
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 0, &queue), kCMSimpleQueueError_ParameterOutOfRange);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, -3, &queue), kCMSimpleQueueError_ParameterOutOfRange);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 3, nullptr), kCMSimpleQueueError_RequiredParameterMissing);
    EXPECT_EQ(queue, nullptr);
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 1, &queue), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(queue, nullptr), kCMSimpleQueueError_RequiredParameterMissing);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 0);
    EXPECT_EQ(CMSimpleQueueGetCapacity(queue), 1);
    CFRelease(queue);
}

TEST_F(cm_simple_queue, failure_switch_makes_creation_fail) {
    zav_platform::probe::set_failure(zav_platform::probe::failing_call_t::simple_queue_create,
                                          kCMSimpleQueueError_AllocationFailed);
    CMSimpleQueueRef queue = nullptr;
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 8, &queue), kCMSimpleQueueError_AllocationFailed);
    EXPECT_EQ(queue, nullptr);
    zav_platform::probe::set_failure(zav_platform::probe::failing_call_t::simple_queue_create, 0);
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 8, &queue), noErr);
    CFRelease(queue);
}

TEST_F(cm_simple_queue, one_producer_one_consumer_lose_nothing) {
    CMSimpleQueueRef queue = nullptr;
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 16, &queue), noErr);
    constexpr std::size_t k_count = 20000;
    std::vector<int> items(k_count);
    std::atomic<bool> in_order{true};
    std::thread consumer([&] {
        std::size_t expected = 0;
        while (expected < k_count) {
            const void* item = CMSimpleQueueDequeue(queue);
            if (item == nullptr) {
                std::this_thread::yield();
                continue;
            }
            if (item != &items[expected]) in_order = false;
            ++expected;
        }
    });
    for (std::size_t i = 0; i < k_count; ++i) {
        while (CMSimpleQueueEnqueue(queue, &items[i]) == kCMSimpleQueueError_QueueIsFull) std::this_thread::yield();
    }
    consumer.join();
    EXPECT_TRUE(in_order);
    EXPECT_EQ(CMSimpleQueueGetCount(queue), 0);
    CFRelease(queue);
}

}  // namespace
