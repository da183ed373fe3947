# Library, header, CMake package (find_package(zelj), target zelj::zelj) and pkg-config file.

include(CMakePackageConfigHelpers)

install(TARGETS zeljy8 zelcore EXPORT zeljTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS zeljy8_static ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/zelj.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT zeljTargets NAMESPACE zelj:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelj)
configure_package_config_file(cmake/zeljConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/zeljConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelj)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zeljConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeljConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/zeljConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelj)

configure_file(cmake/zelj.pc.in ${CMAKE_CURRENT_BINARY_DIR}/zelj.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zelj.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
