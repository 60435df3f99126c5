# Manual pages. They are made when they are installed: what is put into them is then as it is, and an unreleased one's
# date is that of SOURCE_DATE_EPOCH at that moment. `ninja manual` makes those of this build in its folder 'manual'.
include(GNUInstallDirs)
add_custom_target(manual)
set(MANUAL_DIR ${PROJECT_SOURCE_DIR}/docs/manual)

# Further words: the program that is asked for its options, a target.
function(install_manual_page source component)
  get_filename_component(source ${source} ABSOLUTE)
  get_filename_component(name ${source} NAME)
  string(REGEX MATCH "[0-9]$" section ${name})
  set(page ${PROJECT_BINARY_DIR}/manual/${name})
  set(make ${Python3_EXECUTABLE} -B ${MANUAL_DIR}/make_page.py ${source} ${page} ${PROJECT_VERSION})
  if(ARGN)
    list(APPEND make $<TARGET_FILE:${ARGN}>)
  endif()
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/manual)
  add_custom_target(manual-${name} COMMAND ${make} DEPENDS ${ARGN} VERBATIM)
  add_dependencies(manual manual-${name})
  list(JOIN make "\" \"" quoted)
  install(CODE "execute_process(COMMAND \"${quoted}\" COMMAND_ERROR_IS_FATAL ANY)" COMPONENT ${component})
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()
