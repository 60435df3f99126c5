# Run by cpack once everything is installed in a folder for each package, before they are packed: programs stripped and
# manual pages compressed as Debian has them; copyright, changelog, lintian's overrides.

# gzip without name and time, so that the same text gives the same bytes.
function(compress file)
  execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} name)
  set(package ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)

  file(GLOB programs ${root}/bin/* ${root}/libexec/*/*)
  foreach(program IN LISTS programs)
    execute_process(
      COMMAND ${CPACK_STATUS_DISPLAY_STRIP} --strip-unneeded --remove-section=.comment --remove-section=.note ${program}
      COMMAND_ERROR_IS_FATAL ANY)
  endforeach()

  file(GLOB pages ${root}/share/man/man*/*)
  foreach(page IN LISTS pages)
    compress(${page})
  endforeach()

  set(doc ${root}/share/doc/${package})
  file(COPY ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION ${doc}
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  execute_process(
    COMMAND ${CPACK_STATUS_DISPLAY_PYTHON} -B ${CMAKE_CURRENT_LIST_DIR}/changelog.py
      ${CPACK_STATUS_DISPLAY_SOURCE}/CHANGELOG.md ${package} ${CPACK_PACKAGE_VERSION}
      ${CPACK_DEBIAN_PACKAGE_MAINTAINER}
    OUTPUT_FILE ${doc}/changelog COMMAND_ERROR_IS_FATAL ANY)
  file(CHMOD ${doc}/changelog PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  compress(${doc}/changelog)

  set(overrides ${CMAKE_CURRENT_LIST_DIR}/${package}.lintian-overrides)
  if(EXISTS ${overrides})
    file(MAKE_DIRECTORY ${root}/share/lintian/overrides)
    configure_file(${overrides} ${root}/share/lintian/overrides/${package} COPYONLY
      NO_SOURCE_PERMISSIONS)
  endif()

  # Whatever the modes of the sources are, which follow the umask of who fetched them.
  execute_process(COMMAND chmod -R u=rwX,go=rX ${root} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
