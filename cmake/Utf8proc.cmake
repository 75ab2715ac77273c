# utf8proc from the run-time package and the headers, as Boost is taken in BoostFilesystem.cmake.

find_path(UTF8PROC_INCLUDE_DIR utf8proc.h REQUIRED)
find_library(UTF8PROC_LIBRARY NAMES libutf8proc.so.2 utf8proc REQUIRED)

if(NOT TARGET Utf8proc::utf8proc)
    add_library(Utf8proc::utf8proc SHARED IMPORTED GLOBAL)
    set_target_properties(Utf8proc::utf8proc PROPERTIES
        IMPORTED_LOCATION ${UTF8PROC_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${UTF8PROC_INCLUDE_DIR})
endif()
