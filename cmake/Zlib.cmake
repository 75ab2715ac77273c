# zlib from the run-time package and the headers, as Boost is taken in BoostFilesystem.cmake.

find_path(ZLIB_INCLUDE_DIR zlib.h REQUIRED)
find_library(ZLIB_LIBRARY NAMES libz.so.1 z REQUIRED)

if(NOT TARGET Zlib::zlib)
    add_library(Zlib::zlib SHARED IMPORTED GLOBAL)
    set_target_properties(Zlib::zlib PROPERTIES
        IMPORTED_LOCATION ${ZLIB_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${ZLIB_INCLUDE_DIR})
endif()
