# Functions for targets: warnings, precompiled headers, and the library's folders.

option(DOVREL_WARNINGS_AS_ERRORS "Treat warnings as errors; for work on the library itself" OFF)

function(dovrel_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
        -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough
        $<$<BOOL:${DOVREL_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()

# Compiles standard headers that many sources include once for several targets. They need the same options for the compiler,
# because GCC takes a precompiled header only with those that it was made with. Each source still includes what it uses:
# clang-tidy reads it without precompiled headers.
function(dovrel_precompiled_headers first)
    target_precompile_headers(${first} PRIVATE
        <algorithm> <array> <cerrno> <chrono> <cstdint> <cstring> <functional> <locale> <map> <memory> <optional>
        <ostream> <set> <sstream> <string> <string_view> <utility> <vector>)
    foreach(target IN LISTS ARGN)
        target_precompile_headers(${target} REUSE_FROM ${first})
    endforeach()
    foreach(target IN LISTS first ARGN)
        # For ccache(1).
        target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    endforeach()
endfunction()

# Compiles several sources at once: most of the time goes into what they all include. The anonymous namespaces of a batch
# are one, so their names must differ.
function(dovrel_compiled_in_batches target size)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${size})
    # GCC gives these where one source includes another, as a batch does.
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage -Wno-shadow)
endfunction()

# One folder of the library's sources. All folders are linked into one file; tools/gates/layers checks their includes.
function(dovrel_layer target)
    add_library(${target} OBJECT ${ARGN})
    dovrel_warnings(${target})
endfunction()
