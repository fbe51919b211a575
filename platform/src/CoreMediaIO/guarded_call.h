// Runs the body of an Apple C function so that no C++ exception crosses the C boundary: an
// exception from our code or from a plug-in's function table becomes an error result.
#ifndef ZAV_PLATFORM_CMIO_GUARDED_CALL_H
#define ZAV_PLATFORM_CMIO_GUARDED_CALL_H

#include <cstdio>
#include <exception>

namespace zav_platform::cmio {

template <class R, class F>
R guarded_call(const char* function, R on_exception, F&& body) noexcept {
    try {
        return body();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "CoreMediaIO: %s failed: %s\n", function, error.what());
    } catch (...) {
        std::fprintf(stderr, "CoreMediaIO: %s failed with an unknown exception\n", function);
    }
    return on_exception;
}

}  // namespace zav_platform::cmio

#endif
