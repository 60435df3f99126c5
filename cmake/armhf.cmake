# Toolchain file for the box: 32-bit ARM, hard float. The sysroot is made by cmake/armhf-sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

if(NOT DEFINED ARMHF_SYSROOT)
  set(ARMHF_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot)
endif()
get_filename_component(ARMHF_SYSROOT ${ARMHF_SYSROOT} ABSOLUTE)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ARMHF_SYSROOT)
if(NOT EXISTS ${ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf)
  message(FATAL_ERROR "No ARM libraries in ${ARMHF_SYSROOT}: run 'cmake/armhf-sysroot ${ARMHF_SYSROOT}' first.")
endif()

# libc and libstdc++ come with the cross compiler; the sysroot adds libdbus and what it needs.
set(ENV{PKG_CONFIG_LIBDIR} ${ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${ARMHF_SYSROOT})
set(armhf_libraries ${ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf ${ARMHF_SYSROOT}/lib/arm-linux-gnueabihf)
string(REPLACE ";" ",-rpath-link," armhf_rpath_link "-Wl,-rpath-link,${armhf_libraries}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${armhf_rpath_link}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${armhf_rpath_link}")
set(CMAKE_SKIP_RPATH ON)

set(CMAKE_FIND_ROOT_PATH ${ARMHF_SYSROOT} /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${ARMHF_SYSROOT})
