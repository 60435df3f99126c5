# Read by cpack before it packs. In a cross build the packages of the libraries are those of the private sysroot.
if(CPACK_STATUS_DISPLAY_SYSROOT)
  set(SHLIBDEPS_EXECUTABLE ${CMAKE_CURRENT_LIST_DIR}/cross-shlibdeps)
  set(ENV{ARMHF_SYSROOT} ${CPACK_STATUS_DISPLAY_SYSROOT})
endif()
