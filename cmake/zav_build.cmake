# Project-wide compiler settings: warnings on and clean, optional sanitizers.

set(ZAV_WARNINGS -Wall -Wextra -Wshadow=local -Wno-unused-parameter)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    set(ZAV_WARNINGS -Wall -Wextra -Wshadow-uncaptured-local -Wno-unused-parameter)
endif()

# Applies the project's warning flags to a target.
function(zav_warnings target)
    target_compile_options(${target} PRIVATE ${ZAV_WARNINGS})
endfunction()

if(ZAV_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
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
