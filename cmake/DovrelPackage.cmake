# Installs the library and what hosts build with: headers, the CMake package and the file for pkg-config(1). Nothing that is
# installed contains the prefix, so that `cmake --install --prefix` and a moved folder work.

include(CMakePackageConfigHelpers)

set(headerFolder ${CMAKE_INSTALL_INCLUDEDIR}/dovrel-sysinfo)
set(cmakeFolder ${CMAKE_INSTALL_LIBDIR}/cmake/dovrel-sysinfo)
set(pkgconfigFolder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS dovrel-sysinfo EXPORT dovrel-sysinfo
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
    FILE_SET HEADERS DESTINATION ${headerFolder} COMPONENT development
    # The set of headers sets this too, in CMake 3.23 and newer.
    INCLUDES DESTINATION ${headerFolder})

install(EXPORT dovrel-sysinfo NAMESPACE dovrel:: FILE dovrel-sysinfoTargets.cmake
    DESTINATION ${cmakeFolder} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/dovrel-sysinfoConfig.cmake.in dovrel-sysinfoConfig.cmake
    INSTALL_DESTINATION ${cmakeFolder} NO_SET_AND_CHECK_MACRO)
# It also refuses hosts of the other width.
write_basic_package_version_file(dovrel-sysinfoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/dovrel-sysinfoConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/dovrel-sysinfoConfigVersion.cmake
    DESTINATION ${cmakeFolder} COMPONENT development)

# The folders relative to each other: each of them may be configured as an absolute path.
foreach(folder IN ITEMS CMAKE_INSTALL_LIBDIR headerFolder pkgconfigFolder)
    cmake_path(ABSOLUTE_PATH ${folder} BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} NORMALIZE OUTPUT_VARIABLE absolute)
    cmake_path(RELATIVE_PATH absolute BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE fromPrefix_${folder})
endforeach()
cmake_path(SET prefix ${CMAKE_INSTALL_PREFIX})
cmake_path(RELATIVE_PATH prefix BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${fromPrefix_pkgconfigFolder}
    OUTPUT_VARIABLE prefixFromPkgconfig)
configure_file(${PROJECT_SOURCE_DIR}/cmake/dovrel-sysinfo.pc.in dovrel-sysinfo.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/dovrel-sysinfo.pc DESTINATION ${pkgconfigFolder} COMPONENT development)
