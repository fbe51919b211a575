// Owner of the simple queue that a stream hands its samples to clients through.
#ifndef ZAV_PLUGIN_OBJECTS_CM_QUEUE_H
#define ZAV_PLUGIN_OBJECTS_CM_QUEUE_H

#include <CoreMedia/CoreMedia.h>

#include <cstdint>

#include "host/cf_ref.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

// Holds one CMSimpleQueueRef of a fixed capacity, released with the holder. The queue stores
// pointers without retaining them: `element_t` documents what the producer puts in. Always held
// through a shared pointer, as producer and clients may outlive each other's calls.
template <typename element_t>
class cm_queue_t {
public:
    // A failed creation leaves the queue null; enqueueing then fails.
    explicit cm_queue_t(int32_t capacity) { CMSimpleQueueCreate(kCFAllocatorDefault, capacity, m_queue.out()); }

    // The queue without an added retain: retain it to hand it on.
    CMSimpleQueueRef get_ref() const { return m_queue.get(); }

    // The queue's own status: a full queue refuses and keeps nothing.
    OSStatus enqueue(element_t element) const {
        if (!m_queue) return kCMSimpleQueueError_RequiredParameterMissing;
        return CMSimpleQueueEnqueue(m_queue.get(), element);
    }

private:
    cf_ref_t<CMSimpleQueueRef> m_queue;
};

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#endif
