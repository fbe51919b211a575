# The fuzzing configuration (-DZAV_FUZZ=ON, clang only): every target is built with coverage
# instrumentation for libFuzzer beside AddressSanitizer and UndefinedBehaviorSanitizer, and the
# fuzzers under fuzz/ link the libFuzzer driver. The plain and sanitizer builds are untouched.
if(ZAV_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "ZAV_FUZZ needs clang (e.g. -DCMAKE_CXX_COMPILER=clang++-14)")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
