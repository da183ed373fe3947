# What is installed of the C interface, and of the Python package over it. Components:
#   codecs       the shared library
#   development  header, link, the CMake package zelcodecs, the pkg-config file
#   python       the package zelj; of any version of Python 3
include(CMakePackageConfigHelpers)
include(ZeljPkgConfig)

# The library finds zelj beside itself, wherever the tree is moved.
set_target_properties(zelcodecs PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS zelcodecs EXPORT zelcodecsTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT codecs NAMELINK_COMPONENT development)
install(FILES ${zelc_header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# find_package(zelcodecs 1) gives zelj::zelcodecs.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zelcodecs)
install(EXPORT zelcodecsTargets NAMESPACE zelj:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(c/zelcodecsConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/zelcodecsConfig.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zelcodecsConfigVersion.cmake VERSION ${ZELC_VERSION}
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zelcodecsConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/zelcodecsConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

zelj_install_pkg_config(zelcodecs ${ZELC_VERSION} "JPEG, JPEG 2000, TIFF, DDS, PNG and Netpbm files, read and written band by band"
                        zelcodecs)

# The package tells the way to the library, which is written when it is installed, as the prefix is chosen then.
set(ZELJ_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Folder for the Python package, under the prefix")
if(ZELJ_BUILD_PYTHON)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/zelj DESTINATION ${ZELJ_PYTHON_DIR} COMPONENT python
          FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE PATTERN ".mypy_cache" EXCLUDE)
  configure_file(c/InstallPython.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/InstallPython.cmake @ONLY)
  install(SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/InstallPython.cmake COMPONENT python)
endif()
