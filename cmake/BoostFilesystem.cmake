# Finds Boost.Filesystem in its run-time package. The headers fit all architectures; the development packages of two
# architectures often exclude each other.

find_path(BOOST_FILESYSTEM_INCLUDE_DIR boost/filesystem.hpp REQUIRED)
find_library(BOOST_FILESYSTEM_LIBRARY
    NAMES libboost_filesystem.so.1.74.0 boost_filesystem
    REQUIRED)

if(NOT TARGET Boost::filesystem)
    add_library(Boost::filesystem SHARED IMPORTED GLOBAL)
    set_target_properties(Boost::filesystem PROPERTIES
        IMPORTED_LOCATION ${BOOST_FILESYSTEM_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${BOOST_FILESYSTEM_INCLUDE_DIR}
        INTERFACE_COMPILE_DEFINITIONS BOOST_FILESYSTEM_NO_DEPRECATED)
endif()
