# Project-wide compiler settings: warnings on and clean, optional sanitizers.

set(ZAV_WARNINGS -Wall -Wextra -Wshadow=local -Wno-unused-parameter)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    set(ZAV_WARNINGS -Wall -Wextra -Wshadow-uncaptured-local -Wno-unused-parameter)
endif()

# Applies the project's warning flags to a target.
function(zav_warnings target)
    target_compile_options(${target} PRIVATE ${ZAV_WARNINGS})
endfunction()

option(ZAV_SANITIZE_THREAD "Build with ThreadSanitizer (not together with ZAV_SANITIZE)" OFF)

if(ZAV_SANITIZE AND ZAV_SANITIZE_THREAD)
    # The two runtimes each take over the allocator and the shadow memory: one process holds one.
    message(FATAL_ERROR "ZAV_SANITIZE and ZAV_SANITIZE_THREAD exclude each other; configure one build for each")
endif()

if(ZAV_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()

if(ZAV_SANITIZE_THREAD)
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
endif()

# Adds the subdirectories of a folder that have a CMakeLists.txt, in name order.
function(zav_add_subdirectories)
    file(GLOB children RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/*/CMakeLists.txt)
    list(SORT children)
    foreach(child ${children})
        get_filename_component(dir ${child} DIRECTORY)
        add_subdirectory(${dir})
    endforeach()
endfunction()
