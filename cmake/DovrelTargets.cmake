# How targets of this tree are made: what a folder may include, and with which warnings it is compiled.

option(DOVREL_WARNINGS_AS_ERRORS "Stop at the first warning; for work on the library itself" OFF)

function(dovrel_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
        -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough
        $<$<BOOL:${DOVREL_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()

# Layers are a matter of the include path: a target sees the folders that it is given here and no others, through
# links in the build tree, whatever stands beside it in the source tree.
function(dovrel_may_include target scope)
    set(root ${PROJECT_BINARY_DIR}/include-roots/${target})
    foreach(folder IN LISTS ARGN)
        cmake_path(GET folder PARENT_PATH parent)
        file(MAKE_DIRECTORY ${root}/${parent})
        file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${root}/${folder} SYMBOLIC)
    endforeach()
    target_include_directories(${target} ${scope} $<BUILD_INTERFACE:${root}>)
endfunction()

# One layer of the library: its sources, compiled against the folders that it may include.
function(dovrel_layer target)
    cmake_parse_arguments(LAYER "" "" "SOURCES;MAY_INCLUDE" ${ARGN})
    add_library(${target} OBJECT ${LAYER_SOURCES})
    dovrel_may_include(${target} PRIVATE ${LAYER_MAY_INCLUDE})
    dovrel_warnings(${target})
endfunction()
