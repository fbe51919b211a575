#include "thread_creation_switch.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>

namespace {

std::atomic<int> g_error{0};
std::atomic<std::size_t> g_refused{0};

using create_t = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

// A sanitizer runtime linked into this program intercepts thread creation under this name and
// needs to see every thread; without one, the C library's function comes next in lookup order.
extern "C" int __interceptor_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)
    __attribute__((weak));

namespace zav_test::thread_creation {

void fail_with(int error) {
    g_error.store(error);
}

std::size_t refused() {
    return g_refused.load();
}

}  // namespace zav_test::thread_creation

extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*start)(void*), void* argument) {
    if (const int error = g_error.load(); error != 0) {
        ++g_refused;
        return error;
    }
    static const create_t next = __interceptor_pthread_create != nullptr
                                     ? &__interceptor_pthread_create
                                     : reinterpret_cast<create_t>(dlsym(RTLD_NEXT, "pthread_create"));
    return next(thread, attributes, start, argument);
}
