# What the chosen families come to:
#   ZELJ_FAMILY_SOURCES      their sources, and those that all share
#   ZELJ_EXPORTS             the exported names, from src/exports.inc
#   ZELJ_FAMILY_DEFINITIONS  what leaves the others out of that list where it is compiled

set(ZELJ_FOLDERS_jpeg huffman transform colour)
foreach(family jpeg2000 hdphoto texture tiff)
  set(ZELJ_FOLDERS_${family} ${family})
endforeach()

set(patterns src/frame/*.cpp)
foreach(family IN LISTS ZELJ_FAMILIES)
  list(TRANSFORM ZELJ_FOLDERS_${family} REPLACE "(.+)" "src/\\1/*.cpp" OUTPUT_VARIABLE folders)
  list(APPEND patterns ${folders})
endforeach()
file(GLOB ZELJ_FAMILY_SOURCES CONFIGURE_DEPENDS ${patterns})

list(TRANSFORM ZELJ_LEFT_OUT TOUPPER OUTPUT_VARIABLE ZELJ_FAMILY_DEFINITIONS)
list(TRANSFORM ZELJ_FAMILY_DEFINITIONS PREPEND ZELJ_WITHOUT_)

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS src/exports.inc)
file(STRINGS src/exports.inc lines REGEX "^(ZEL_EXPORT|#ifndef|#endif)")
set(ZELJ_EXPORTS)
set(without none)
foreach(line IN LISTS lines)
  if(line MATCHES "^#ifndef (.+)$")
    set(without ${CMAKE_MATCH_1})
  elseif(line MATCHES "^#endif")
    set(without none)
  elseif(NOT without IN_LIST ZELJ_FAMILY_DEFINITIONS AND line MATCHES "^ZEL_EXPORT\\((.+)\\)$")
    list(APPEND ZELJ_EXPORTS ${CMAKE_MATCH_1})
  endif()
endforeach()
