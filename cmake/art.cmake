# Fonts and pictures: C sources made from the sheets in screen/art. Sets ART_SOURCES; target `art` makes them.

set(art_dir ${PROJECT_SOURCE_DIR}/screen/art)
set(art_out ${CMAKE_BINARY_DIR}/art)
set(ART_SOURCES ${art_out}/font_8.c ${art_out}/font_16.c ${art_out}/font_32.c ${art_out}/images.c)
file(MAKE_DIRECTORY ${art_out})
add_custom_command(
  OUTPUT ${ART_SOURCES}
  COMMAND Python3::Interpreter ${art_dir}/generate.py ${art_dir} ${art_out}
  DEPENDS ${art_dir}/generate.py ${art_dir}/font_8.txt ${art_dir}/font_16.txt ${art_dir}/images.txt
  COMMENT "Drawing fonts and pictures"
  VERBATIM)
add_custom_target(art DEPENDS ${ART_SOURCES})
