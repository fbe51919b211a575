// CMSimpleQueue: a fixed-capacity FIFO of pointers, safe to use from several threads. The queue
// never retains or releases what it holds.
#include <CoreMedia/CMSimpleQueue.h>

#include "CoreFoundation/cf_object.h"
#include "probe/failure_switches.h"

#include <algorithm>
#include <mutex>
#include <vector>

using namespace zav_platform;

namespace {

class cm_simple_queue_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CMSimpleQueue");
        return id;
    }
    explicit cm_simple_queue_t(int32_t capacity)
        : cf_object_t(class_type_id()), m_slots(static_cast<std::size_t>(capacity), nullptr) {}

    OSStatus enqueue(const void* element) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_count == m_slots.size()) return kCMSimpleQueueError_QueueIsFull;
        m_slots[(m_head + m_count) % m_slots.size()] = element;
        ++m_count;
        return noErr;
    }
    const void* dequeue() {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_count == 0) return nullptr;
        const void* element = m_slots[m_head];
        m_slots[m_head] = nullptr;
        m_head = (m_head + 1) % m_slots.size();
        --m_count;
        return element;
    }
    const void* head() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_count == 0 ? nullptr : m_slots[m_head];
    }
    void reset() {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::fill(m_slots.begin(), m_slots.end(), nullptr);
        m_head = 0;
        m_count = 0;
    }
    int32_t capacity() const { return static_cast<int32_t>(m_slots.size()); }
    int32_t count() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int32_t>(m_count);
    }

private:
    mutable std::mutex m_mutex;
    std::vector<const void*> m_slots;
    std::size_t m_head = 0;
    std::size_t m_count = 0;
};

cm_simple_queue_t* queue_of(CMSimpleQueueRef ref) {
    return cf_cast<cm_simple_queue_t>(ref);
}

}  // namespace

CFTypeID CMSimpleQueueGetTypeID(void) {
    return cm_simple_queue_t::class_type_id();
}

OSStatus CMSimpleQueueCreate(CFAllocatorRef, int32_t capacity, CMSimpleQueueRef* queueOut) {
    if (queueOut == nullptr) return kCMSimpleQueueError_RequiredParameterMissing;
    if (capacity <= 0) return kCMSimpleQueueError_ParameterOutOfRange;
    OSStatus forced = 0;
    if (should_fail(probe::failing_call_t::simple_queue_create, &forced)) return forced;
    *queueOut = cf_ref<CMSimpleQueueRef>(new cm_simple_queue_t(capacity));
    return noErr;
}

OSStatus CMSimpleQueueEnqueue(CMSimpleQueueRef queue, const void* element) {
    cm_simple_queue_t* q = queue_of(queue);
    if (q == nullptr || element == nullptr) return kCMSimpleQueueError_RequiredParameterMissing;
    return q->enqueue(element);
}

const void* CMSimpleQueueDequeue(CMSimpleQueueRef queue) {
    cm_simple_queue_t* q = queue_of(queue);
    return q != nullptr ? q->dequeue() : nullptr;
}

const void* CMSimpleQueueGetHead(CMSimpleQueueRef queue) {
    const cm_simple_queue_t* q = queue_of(queue);
    return q != nullptr ? q->head() : nullptr;
}

OSStatus CMSimpleQueueReset(CMSimpleQueueRef queue) {
    cm_simple_queue_t* q = queue_of(queue);
    if (q == nullptr) return kCMSimpleQueueError_RequiredParameterMissing;
    q->reset();
    return noErr;
}

int32_t CMSimpleQueueGetCapacity(CMSimpleQueueRef queue) {
    const cm_simple_queue_t* q = queue_of(queue);
    return q != nullptr ? q->capacity() : 0;
}

int32_t CMSimpleQueueGetCount(CMSimpleQueueRef queue) {
    const cm_simple_queue_t* q = queue_of(queue);
    return q != nullptr ? q->count() : 0;
}
