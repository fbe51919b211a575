#include <pthread.h>

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

// The kernel's thread id is unique system-wide while the thread lives, which is what callers of
// the Apple extension rely on (telling threads apart in logs). Only the calling thread's id can
// be read this way; another thread's is refused with ESRCH.
int pthread_threadid_np(pthread_t thread, uint64_t* thread_id) {
    if (thread_id == nullptr) return EINVAL;
    if (thread != 0 && !pthread_equal(thread, pthread_self())) return ESRCH;
    *thread_id = static_cast<uint64_t>(syscall(SYS_gettid));
    return 0;
}
