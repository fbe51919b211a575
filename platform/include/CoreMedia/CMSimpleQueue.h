// CoreMedia simple queues: a fixed-capacity, thread-safe FIFO of plain pointers. Elements
// are neither retained nor released by the queue.
#ifndef ZAV_PLATFORM_CMSIMPLEQUEUE_H
#define ZAV_PLATFORM_CMSIMPLEQUEUE_H

#include <CoreMedia/CMBase.h>

CF_EXTERN_C_BEGIN

enum {
    kCMSimpleQueueError_AllocationFailed = -12770,
    kCMSimpleQueueError_RequiredParameterMissing = -12771,
    kCMSimpleQueueError_ParameterOutOfRange = -12772,
    kCMSimpleQueueError_QueueIsFull = -12773
};

typedef struct opaqueCMSimpleQueue* CMSimpleQueueRef;

CM_EXPORT CFTypeID CMSimpleQueueGetTypeID(void);
CM_EXPORT OSStatus CMSimpleQueueCreate(CFAllocatorRef allocator, int32_t capacity, CMSimpleQueueRef* queueOut);
// kCMSimpleQueueError_QueueIsFull when full; the element is then not taken.
CM_EXPORT OSStatus CMSimpleQueueEnqueue(CMSimpleQueueRef queue, const void* element);
// NULL when empty.
CM_EXPORT const void* CMSimpleQueueDequeue(CMSimpleQueueRef queue);
CM_EXPORT const void* CMSimpleQueueGetHead(CMSimpleQueueRef queue);
CM_EXPORT OSStatus CMSimpleQueueReset(CMSimpleQueueRef queue);
CM_EXPORT int32_t CMSimpleQueueGetCapacity(CMSimpleQueueRef queue);
CM_EXPORT int32_t CMSimpleQueueGetCount(CMSimpleQueueRef queue);

#define CMSimpleQueueGetFullness(queue) \
    (CMSimpleQueueGetCapacity(queue) ? ((Float32)CMSimpleQueueGetCount(queue) / CMSimpleQueueGetCapacity(queue)) : 0.0f)

CF_EXTERN_C_END

#endif
