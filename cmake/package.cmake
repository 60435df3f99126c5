# What a package wants of the compiler beside a release's own options: hardening as Debian hardens (dpkg-buildflags with
# hardening=+all; PIE is the compiler's own default there), and no path of this machine in what is made, so that the
# same sources give the same bytes in any folder. tests/packaging compares with dpkg-buildflags and with the programs.
add_compile_options(
  -fstack-protector-strong -Wformat -Werror=format-security -Wdate-time
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
add_compile_definitions(_FORTIFY_SOURCE=2)
add_link_options(-Wl,-z,relro -Wl,-z,now)
