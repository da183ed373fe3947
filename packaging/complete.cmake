# Run by cpack on the files of each package, before they are packed: what Debian wants of every package besides what is
# installed elsewhere too.

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component})
  set(doc ${root}/usr/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(MAKE_DIRECTORY ${doc})
  configure_file(${CPACK_ZELJ_PACKAGING}/copyright ${doc}/copyright COPYONLY)
  configure_file(${CPACK_ZELJ_PACKAGING}/changelog ${doc}/changelog.Debian COPYONLY)
  file(REMOVE ${root}/usr/share/doc/zelj/LICENSE)

  file(GLOB_RECURSE pages ${root}/usr/share/man/*)
  execute_process(COMMAND gzip -9nf ${doc}/changelog.Debian ${pages} COMMAND_ERROR_IS_FATAL ANY)
  file(GLOB_RECURSE archives ${root}/usr/*.a)
  foreach(archive IN LISTS archives)
    execute_process(COMMAND ${CPACK_ZELJ_STRIP} --strip-debug --enable-deterministic-archives ${archive} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
  execute_process(COMMAND find ${root} -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND find ${root} -type f ( -path */bin/* -exec chmod 755 {} + -o -exec chmod 644 {} + )
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()
