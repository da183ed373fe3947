# zelj_install_pkg_config(NAME VERSION DESCRIPTION LIBRARY [STATIC_LIBRARY...]): the file for pkg-config, in component
# development. It is written when it is installed, as what it says follows from the prefix that is chosen then.
function(zelj_install_pkg_config name version description library)
  list(JOIN ARGN " " static_libraries)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/InstallPkgConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/Install_${name}.cmake @ONLY)
  install(SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/Install_${name}.cmake COMPONENT development)
endfunction()
