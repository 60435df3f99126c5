# Where LVGL 6 comes from: -DLVGL_DIR=<tree>, or else the crate named in third_party/lvgl/Cargo.toml, which
# carries LVGL 6.1.2's whole C tree. Only its C files are used; no Rust is compiled.
# Sets LVGL_SOURCE_DIR and LVGL_SOURCES.

function(lvgl_fetch result)
  find_program(CARGO cargo)
  if(NOT CARGO)
    message(FATAL_ERROR "cargo is needed to fetch LVGL. Install it (Debian 12: "
      "'apt-get install --no-install-recommends cargo-web'), or give an LVGL 6.1 tree with -DLVGL_DIR=<tree>.")
  endif()
  # In the build folder, so that no lock file appears beside the manifest.
  set(work ${CMAKE_BINARY_DIR}/third_party/lvgl)
  configure_file(${PROJECT_SOURCE_DIR}/third_party/lvgl/Cargo.toml ${work}/Cargo.toml COPYONLY)
  file(TOUCH ${work}/empty.rs)

  execute_process(COMMAND ${CARGO} -vV OUTPUT_VARIABLE about COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCH "host: ([^\n]+)" unused "${about}")
  set(host ${CMAKE_MATCH_1})

  set(metadata_command ${CARGO} metadata --format-version 1 --filter-platform ${host} --offline)
  execute_process(COMMAND ${metadata_command} WORKING_DIRECTORY ${work}
    OUTPUT_VARIABLE metadata RESULT_VARIABLE failed ERROR_QUIET)
  if(failed)
    message(STATUS "LVGL: fetching its source with cargo")
    execute_process(COMMAND ${CARGO} fetch --target ${host} WORKING_DIRECTORY ${work} RESULT_VARIABLE failed)
    if(failed)
      message(FATAL_ERROR "cargo could not fetch LVGL (its message is above). Check the network, or give an "
        "LVGL 6.1 tree with -DLVGL_DIR=<tree>.")
    endif()
    execute_process(COMMAND ${metadata_command} WORKING_DIRECTORY ${work}
      OUTPUT_VARIABLE metadata COMMAND_ERROR_IS_FATAL ANY)
  endif()
  string(REGEX MATCH "\"manifest_path\":\"([^\"]*/lvgl-sys-[^\"]*)/Cargo.toml\"" unused "${metadata}")
  if(NOT CMAKE_MATCH_1)
    message(FATAL_ERROR "'cargo metadata' does not tell where the crate lvgl-sys lies. Check "
      "third_party/lvgl/Cargo.toml, or give an LVGL 6.1 tree with -DLVGL_DIR=<tree>.")
  endif()
  set(${result} ${CMAKE_MATCH_1}/vendor/lvgl PARENT_SCOPE)
endfunction()

# One SHA-256 over the names and contents of every source file stands for the lock file.
function(lvgl_check tree)
  file(GLOB_RECURSE files RELATIVE ${tree} ${tree}/src/*.c ${tree}/src/*.h)
  list(SORT files)
  set(listing "")
  foreach(name IN LISTS files ITEMS lvgl.h)
    file(SHA256 ${tree}/${name} sum)
    string(APPEND listing "${sum}  ${name}\n")
  endforeach()
  string(SHA256 found "${listing}")
  file(READ ${PROJECT_SOURCE_DIR}/third_party/lvgl/source.sha256 wanted)
  string(STRIP "${wanted}" wanted)
  if(NOT found STREQUAL wanted)
    message(FATAL_ERROR "LVGL's source in ${tree} is not the one this project was made with "
      "(SHA-256 over the tree ${found}, expected ${wanted}). Remove that folder and configure again; "
      "if it is meant, update third_party/lvgl/source.sha256.")
  endif()
endfunction()

if(LVGL_DIR)
  get_filename_component(LVGL_SOURCE_DIR ${LVGL_DIR} ABSOLUTE)
  if(NOT EXISTS ${LVGL_SOURCE_DIR}/lvgl.h)
    message(FATAL_ERROR "LVGL_DIR=${LVGL_DIR} holds no lvgl.h: give the root of an LVGL 6.1 checkout.")
  endif()
else()
  lvgl_fetch(LVGL_SOURCE_DIR)
  lvgl_check(${LVGL_SOURCE_DIR})
endif()
message(STATUS "LVGL: ${LVGL_SOURCE_DIR}")
if(STATUS_DISPLAY_PACKAGE)
  add_compile_options(-ffile-prefix-map=${LVGL_SOURCE_DIR}=lvgl)
endif()
file(GLOB_RECURSE LVGL_SOURCES ${LVGL_SOURCE_DIR}/src/*.c)
