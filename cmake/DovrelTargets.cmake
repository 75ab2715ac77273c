# The warnings that targets of this tree are compiled with, and the folders of the library.

option(DOVREL_WARNINGS_AS_ERRORS "Stop at the first warning; for work on the library itself" OFF)

function(dovrel_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
        -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough
        $<$<BOOL:${DOVREL_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()

# One folder of the library's sources, which all become one file. tools/gates/layers holds them apart.
function(dovrel_layer target)
    add_library(${target} OBJECT ${ARGN})
    dovrel_warnings(${target})
endfunction()
