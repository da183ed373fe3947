# What is installed, by component:
#   runtime        the shared libraries
#   development    header, archive, the CMake package zelj, the pkg-config file
#   tools          zelcodec with its completion and its man page
#   codecs, python what codecs/c/Install.cmake says
#   documentation  the texts, the examples, and the pages where tools/pages.sh has made them

include(CMakePackageConfigHelpers)
include(ZeljPkgConfig)

# ---- The libraries --------------------------------------------------------------------------------------------------------

# The library finds its core layer beside itself, wherever the tree is moved.
set_target_properties(zeljy8 zelcore PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS zeljy8 zelcore EXPORT zeljTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS zeljy8_static EXPORT zeljTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/zelj.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# ---- For CMake: find_package(zelj); its components are families, for programs that want to be sure of them -----------

set(ZELJ_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelj)
install(EXPORT zeljTargets NAMESPACE zelj:: DESTINATION ${ZELJ_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(cmake/zeljConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/zeljConfig.cmake
                              INSTALL_DESTINATION ${ZELJ_PACKAGE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zeljConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeljConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/zeljConfigVersion.cmake
        DESTINATION ${ZELJ_PACKAGE_DIR} COMPONENT development)

# ---- For pkg-config -------------------------------------------------------------------------------------------------------

zelj_install_pkg_config(zelj ${PROJECT_VERSION} "${PROJECT_DESCRIPTION}" zeljy8 ${ZELJ_STATIC_LIBRARIES})

# ---- The tool --------------------------------------------------------------------------------------------------------------

if(TARGET zelcodec)
  # From the folder of programs to that of libraries, as long as both move with the prefix.
  if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_BINDIR})
    set(libraries ${CMAKE_INSTALL_FULL_LIBDIR})
  else()
    file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    string(PREPEND libraries "$ORIGIN/")
  endif()
  set_target_properties(zelcodec PROPERTIES INSTALL_RPATH ${libraries})
  install(TARGETS zelcodec RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES tools/zelcodec/zelcodec.bash RENAME zelcodec COMPONENT tools
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${PROJECT_BINARY_DIR}/zelcodec.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endif()

# ---- Texts -----------------------------------------------------------------------------------------------------------------

install(FILES README.md CHANGELOG.md SECURITY.md CONTRIBUTING.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT documentation)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
        FILES_MATCHING PATTERN "*.c" PATTERN "*.h" PATTERN "*.md")
install(DIRECTORY out/html DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation OPTIONAL)
