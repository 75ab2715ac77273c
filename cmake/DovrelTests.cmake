# Makes test code quick to compile. The library and the program keep the options of the build type.

# GoogleTest and the standard library are compiled once for all test programs. GCC takes a precompiled header
# only with the options that it was made with, so its owner is compiled as an executable's source is, and has no
# definitions of its own.
file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp CONTENT "")
add_library(test_headers OBJECT ${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp)
target_link_libraries(test_headers PRIVATE GTest::gmock GTest::gtest)
target_precompile_headers(test_headers PRIVATE
    <gmock/gmock.h>
    <gtest/gtest.h>
    <algorithm> <array> <atomic> <cerrno> <chrono> <csignal> <cstdint> <cstdio> <cstdlib> <cstring> <filesystem>
    <fstream> <functional> <iterator> <map> <memory> <optional> <set> <sstream> <stdexcept> <string> <string_view>
    <thread> <utility> <vector>)

function(dovrel_unoptimised target)
    # ccache(1) needs -fpch-preprocess for precompiled headers. The last one lets GCC collect its garbage seldom: otherwise an
    # eighth of its time goes there.
    target_compile_options(${target} PRIVATE -O0 -g1 -fpch-preprocess --param=ggc-min-heapsize=1000000)
endfunction()

set_target_properties(test_headers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
target_compile_options(test_headers PRIVATE -fPIE)
dovrel_warnings(test_headers)
dovrel_unoptimised(test_headers)

# All programs and static libraries of a folder and those below it; the EXCEPT ones without precompiled headers.
function(dovrel_quick_to_compile folder)
    cmake_parse_arguments(PARSE_ARGV 1 arguments "" "" EXCEPT)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        if(NOT type MATCHES "EXECUTABLE|STATIC_LIBRARY")
            continue()
        endif()
        dovrel_unoptimised(${target})
        if(type STREQUAL EXECUTABLE)
            target_link_options(${target} PRIVATE -fuse-ld=gold) # In half of the time of the default one.
            dovrel_compiled_in_batches(${target} 12)
        endif()
        if(target IN_LIST arguments_EXCEPT)
            continue()
        endif()
        if(type STREQUAL STATIC_LIBRARY)
            set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
            target_compile_options(${target} PRIVATE -fPIE)
        endif()
        target_precompile_headers(${target} REUSE_FROM test_headers)
    endforeach()
    get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    foreach(below IN LISTS folders)
        dovrel_quick_to_compile(${below} EXCEPT ${arguments_EXCEPT})
    endforeach()
endfunction()
