# Library, header, CMake package (find_package(zelj), target zelj::zelj) and pkg-config file.

include(CMakePackageConfigHelpers)

# The library finds its core layer beside itself, wherever the tree is moved.
set_target_properties(zeljy8 zelcore PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS zeljy8 zelcore EXPORT zeljTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS zeljy8_static ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/zelj.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT zeljTargets NAMESPACE zelj:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelj)
configure_package_config_file(cmake/zeljConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/zeljConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelj)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zeljConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeljConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/zeljConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelj)

# From the directory of the .pc file to the prefix, so that the package can be moved and its prefix be chosen at
# installation.
file(RELATIVE_PATH ZELJ_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" ZELJ_PC_TO_PREFIX ${ZELJ_PC_TO_PREFIX})
configure_file(cmake/zelj.pc.in ${CMAKE_CURRENT_BINARY_DIR}/zelj.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zelj.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
