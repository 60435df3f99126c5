# The fonts and pictures: C for LVGL, made in the build folder from the sheets in screen/art.
# Sets ART_SOURCES. Every target that compiles them must also depend on the target `art`, or two targets
# would make the same files at the same time.

set(ART_DIR ${PROJECT_SOURCE_DIR}/screen/art)
set(ART_OUT ${PROJECT_BINARY_DIR}/screen/art)
set(ART_SOURCES ${ART_OUT}/font_16.c ${ART_OUT}/font_32.c ${ART_OUT}/font_8.c ${ART_OUT}/images.c)

add_custom_command(OUTPUT ${ART_SOURCES}
  COMMAND Python3::Interpreter -B ${ART_DIR}/generate.py ${ART_DIR} ${ART_OUT}
  DEPENDS ${ART_DIR}/generate.py ${ART_DIR}/font_16.txt ${ART_DIR}/font_8.txt ${ART_DIR}/images.txt
  COMMENT "Making fonts and pictures from their sheets" VERBATIM)
add_custom_target(art DEPENDS ${ART_SOURCES})
