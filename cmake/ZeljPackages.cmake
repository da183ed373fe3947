# Debian packages, one for each component that is installed: cpack -G DEB, with the preset "package"
# (packaging/build.sh).

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelj)
set(CPACK_PACKAGE_CONTACT "zelj developers <zelj@zelj.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
# Into a scratch root, so that rules see the prefix that the files will have.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/complete.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
set(CPACK_ZELJ_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
set(CPACK_ZELJ_STRIP ${CMAKE_STRIP})

# What a package is linked with becomes its dependencies. Packages of one build belong together.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  # What finds dependencies knows the packages of this machine alone: those of a cross build name none of other projects.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
endif()
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/codecs)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(same "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# zelj_package(COMPONENT NAME SECTION DEPENDS TITLE LINE...): what Debian shall know of a component.
function(zelj_package component name section depends title)
  set(lines "image-codec primitives - ${title}"
            "Inner functions of JPEG, JPEG 2000, HD Photo, texture and TIFF codecs as"
            "plain C functions over memory of the caller, with vector instructions." "." ${ARGN})
  list(JOIN lines "\n" description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
endfunction()
zelj_package(runtime libzeljy8 libs "" "shared library" "This package has the shared library.")
zelj_package(development libzelj-dev libdevel "libzeljy8 ${same}" "development files"
             "This package has the header, the archive, and what CMake and pkg-config" "look for.")
zelj_package(tools zelj-tools graphics "libzeljy8 ${same}" "command-line tool"
             "This package has zelcodec, which converts, describes and compares pictures"
             "in JPEG, JPEG 2000, TIFF, DDS, PNG and Netpbm files.")
zelj_package(documentation zelj-doc doc "" "documentation"
             "This package has texts about the library, its measured performance, and" "examples of codecs.")
zelj_package(codecs libzelcodecs1 libs "libzeljy8 ${same}" "codecs of whole files"
             "This package has codecs of image files over these primitives, with a C" "interface.")
zelj_package(python python3-zelj python "libzelcodecs1 ${same}, python3, python3-numpy" "codecs for Python"
             "This package has the codecs of image files for NumPy arrays.")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_CODECS_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)

# Those that this build has.
get_cmake_property(CPACK_COMPONENTS_ALL COMPONENTS)
list(REMOVE_ITEM CPACK_COMPONENTS_ALL Unspecified)
if(codecs IN_LIST CPACK_COMPONENTS_ALL)
  string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", libzelcodecs1 ${same}")
endif()
# Byte code of the modules is made when the package is installed, and goes with it.
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/python/postinst;${PROJECT_SOURCE_DIR}/packaging/python/prerm")
include(CPack)
