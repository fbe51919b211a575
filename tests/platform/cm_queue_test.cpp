// CMSimpleQueue: full and empty behaviour, no retaining, wrap-around, concurrent use, bad
// arguments and its failure switch.
#include "platform_test.h"

#include <CoreMedia/CoreMedia.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

class cm_simple_queue : public platform_test_t {
protected:
    void TearDown() override {
        if (m_queue != nullptr) CFRelease(m_queue);
        platform_test_t::TearDown();
    }
    CMSimpleQueueRef m_queue = nullptr;
};

TEST_F(cm_simple_queue, full_queue_refuses_and_keeps_its_elements_which_are_not_retained) {
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 2, &m_queue), noErr);
    EXPECT_EQ(CFGetTypeID(m_queue), CMSimpleQueueGetTypeID());
    CFNumberRef a = make_int32(1);
    int b = 0, c = 0;
    EXPECT_EQ(CMSimpleQueueEnqueue(m_queue, a), noErr);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    EXPECT_EQ(CMSimpleQueueEnqueue(m_queue, &b), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(m_queue, &c), kCMSimpleQueueError_QueueIsFull);
    EXPECT_EQ(CMSimpleQueueGetCount(m_queue), 2);
    EXPECT_FLOAT_EQ(CMSimpleQueueGetFullness(m_queue), 1.0f);
    EXPECT_EQ(CMSimpleQueueGetHead(m_queue), a);
    EXPECT_EQ(CMSimpleQueueDequeue(m_queue), a);
    EXPECT_EQ(CMSimpleQueueDequeue(m_queue), &b);  // c never got in
    EXPECT_EQ(CMSimpleQueueDequeue(m_queue), nullptr);
    EXPECT_EQ(CMSimpleQueueGetHead(m_queue), nullptr);
    // Neither a reset nor the queue's end releases what is still queued.
    CMSimpleQueueEnqueue(m_queue, a);
    CMSimpleQueueReset(m_queue);
    EXPECT_EQ(CMSimpleQueueGetCount(m_queue), 0);
    CMSimpleQueueEnqueue(m_queue, a);
    CFRelease(m_queue);
    m_queue = nullptr;
    EXPECT_EQ(CFGetRetainCount(a), 1);
    CFRelease(a);
}

TEST_F(cm_simple_queue, order_survives_wrap_around) {
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 3, &m_queue), noErr);
    static int items[10];
    std::size_t next_in = 0, next_out = 0;
    for (int round = 0; round < 10; ++round) {
        while (next_in < 10 && CMSimpleQueueEnqueue(m_queue, &items[next_in]) == noErr) ++next_in;
        ASSERT_EQ(CMSimpleQueueDequeue(m_queue), &items[next_out]);
        ++next_out;
    }
    while (const void* item = CMSimpleQueueDequeue(m_queue)) EXPECT_EQ(item, &items[next_out++]);
    EXPECT_EQ(next_out, 10u);
}

TEST_F(cm_simple_queue, bad_arguments_and_failure_switch_get_their_error_codes) {
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 0, &m_queue), kCMSimpleQueueError_ParameterOutOfRange);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, -3, &m_queue), kCMSimpleQueueError_ParameterOutOfRange);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 3, nullptr), kCMSimpleQueueError_RequiredParameterMissing);
    zav_platform::probe::set_failure(zav_platform::probe::failing_call_t::simple_queue_create,
                                     kCMSimpleQueueError_AllocationFailed);
    EXPECT_EQ(CMSimpleQueueCreate(nullptr, 8, &m_queue), kCMSimpleQueueError_AllocationFailed);
    EXPECT_EQ(m_queue, nullptr);
    zav_platform::probe::set_failure(zav_platform::probe::failing_call_t::simple_queue_create, 0);
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 1, &m_queue), noErr);
    EXPECT_EQ(CMSimpleQueueEnqueue(m_queue, nullptr), kCMSimpleQueueError_RequiredParameterMissing);
    EXPECT_EQ(CMSimpleQueueGetCount(m_queue), 0);
    EXPECT_EQ(CMSimpleQueueGetCapacity(m_queue), 1);
}

TEST_F(cm_simple_queue, one_producer_one_consumer_lose_nothing) {
    ASSERT_EQ(CMSimpleQueueCreate(nullptr, 16, &m_queue), noErr);
    constexpr std::size_t k_count = 20000;
    std::vector<int> items(k_count);
    std::atomic<bool> in_order{true};
    std::thread consumer([&] {
        for (std::size_t expected = 0; expected < k_count;) {
            const void* item = CMSimpleQueueDequeue(m_queue);
            if (item == nullptr) {
                std::this_thread::yield();
                continue;
            }
            if (item != &items[expected++]) in_order = false;
        }
    });
    for (std::size_t i = 0; i < k_count; ++i) {
        while (CMSimpleQueueEnqueue(m_queue, &items[i]) == kCMSimpleQueueError_QueueIsFull) std::this_thread::yield();
    }
    consumer.join();
    EXPECT_TRUE(in_order);
    EXPECT_EQ(CMSimpleQueueGetCount(m_queue), 0);
}

}  // namespace
