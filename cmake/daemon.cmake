# The daemon, once for each registered resolution. The two differ in LVGL's two resolution macros and in
# nothing else: a device gets `status-display`, people at a desk can look at `status-display-layout`.

# What LVGL calls of ours: its clock and the end of its assertions.
add_library(lvgl_support STATIC port/lvgl_assert.cpp port/tick.cpp)
target_include_directories(lvgl_support PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(lvgl_support PRIVATE warnings)

# All of it but the start, which the component tests do without. The order is that of the program; another one leaves
# larger gaps between the functions.
file(GLOB app_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/app/*.cpp)
file(GLOB screen_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/screen/*.cpp)
file(GLOB probe_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/probes/*.cpp)
list(REMOVE_ITEM app_sources ${PROJECT_SOURCE_DIR}/app/main.cpp)

function(add_status_display suffix width height)
  set(lvgl lvgl${suffix})
  set(core display_core${suffix})

  add_library(${lvgl} STATIC ${LVGL_SOURCES})
  target_include_directories(${lvgl} SYSTEM PUBLIC ${LVGL_SOURCE_DIR})
  target_include_directories(${lvgl} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/port)
  target_compile_definitions(${lvgl} PUBLIC LV_CONF_INCLUDE_SIMPLE LV_LVGL_H_INCLUDE_SIMPLE
    LV_HOR_RES_MAX=${width} LV_VER_RES_MAX=${height})
  target_link_libraries(${lvgl} PUBLIC lvgl_support)
  target_compile_options(${lvgl} PRIVATE -w -ffunction-sections -fdata-sections)
  if(STATUS_DISPLAY_SANITIZE)
    target_compile_definitions(${lvgl} PUBLIC LV_MEM_CUSTOM=1)
    # lv_draw_line.c shifts negative numbers left by design.
    target_compile_options(${lvgl} PRIVATE -fno-sanitize=shift-base)
  endif()

  if(STATUS_DISPLAY_COVERAGE)
    # Not ours, so it is not counted: it has none of the folder's options.
    set_property(TARGET ${lvgl} PROPERTY COMPILE_OPTIONS -w -O2)
  endif()

  # The framebuffer driver is built apart, so that a checkout of lv_drivers can take its place untouched.
  if(LV_DRIVERS_DIR)
    set(drivers ${LV_DRIVERS_DIR})
  else()
    set(drivers ${PROJECT_SOURCE_DIR}/port/lv_drivers)
  endif()
  add_library(fbdev${suffix} STATIC ${drivers}/display/fbdev.c)
  target_include_directories(fbdev${suffix} SYSTEM INTERFACE ${drivers})
  target_compile_definitions(fbdev${suffix} PUBLIC LV_DRV_NO_CONF USE_FBDEV=1 FBDEV_PATH="/dev/fb0")
  target_link_libraries(fbdev${suffix} PUBLIC ${lvgl})
  if(NOT LV_DRIVERS_DIR)
    target_link_libraries(fbdev${suffix} PRIVATE warnings)
  endif()

  add_library(${core} STATIC
    ${app_sources} ${screen_sources} ${ART_SOURCES} ${probe_sources} port/display_port.cpp)
  add_dependencies(${core} art)
  target_compile_options(${core} PRIVATE -ffunction-sections -fdata-sections)
  target_link_libraries(${core} PUBLIC fbdev${suffix} ${lvgl} PkgConfig::DBUS PRIVATE warnings)

  add_executable(status-display${suffix} app/main.cpp)
  target_link_libraries(status-display${suffix} PRIVATE ${core} warnings)
  target_link_options(status-display${suffix} PRIVATE -Wl,--gc-sections)
  if(STATUS_DISPLAY_COVERAGE)
    target_sources(status-display${suffix} PRIVATE tests/prove/coverage_end.c)
  endif()
endfunction()

include(GNUInstallDirs)
add_status_display("" 64 128)
install(TARGETS status-display RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT daemon)
if(STATUS_DISPLAY_DESK)
  add_status_display(-layout 128 66)
endif()
