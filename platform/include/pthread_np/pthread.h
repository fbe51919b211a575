// The system <pthread.h> plus the one Apple extension the plug-in uses, so that code written
// for Apple systems includes <pthread.h> as it is and finds pthread_threadid_np.
#ifndef ZAV_PLATFORM_PTHREAD_H
#define ZAV_PLATFORM_PTHREAD_H

#include_next <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Stores the system-wide unique id of `thread` (the calling thread when null) in *thread_id.
// Returns 0, or ESRCH when `thread` is not the calling thread and cannot be resolved, or EINVAL
// when thread_id is null.
__attribute__((visibility("default"))) int pthread_threadid_np(pthread_t thread, uint64_t* thread_id);

#ifdef __cplusplus
}

#include <type_traits>

// On Apple systems pthread_t is a pointer and callers pass NULL for the calling thread; here it
// is an integer, so this overload takes NULL, nullptr or 0 as they are, without a conversion of
// NULL to an integer.
template <class T, class = std::enable_if_t<!std::is_same<T, pthread_t>::value>>
inline int pthread_threadid_np(T thread, uint64_t* thread_id) {
    static_assert(std::is_null_pointer<T>::value || std::is_integral<T>::value,
                  "pthread_threadid_np takes a pthread_t or NULL");
    if constexpr (std::is_null_pointer<T>::value) {
        return pthread_threadid_np(pthread_t{}, thread_id);
    } else {
        return pthread_threadid_np(static_cast<pthread_t>(thread), thread_id);
    }
}
#endif

#endif
