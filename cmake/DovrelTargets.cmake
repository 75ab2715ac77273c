# Functions for targets: warnings, and the library's folders.

option(DOVREL_WARNINGS_AS_ERRORS "Treat warnings as errors; for work on the library itself" OFF)

function(dovrel_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
        -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough
        $<$<BOOL:${DOVREL_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()

# One folder of the library's sources. All folders are linked into one file; tools/gates/layers checks their includes.
function(dovrel_layer target)
    add_library(${target} OBJECT ${ARGN})
    dovrel_warnings(${target})
endfunction()
