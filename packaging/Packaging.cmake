# The Debian package (cpack -G DEB in the build folder, or the `package`
# target): everything the install rules put under the prefix, installed to
# /usr. Run-time dependencies come from dpkg-shlibdeps, so they match the
# libraries the programs were linked against. The desktop database, the MIME
# database and the icon cache are refreshed by Debian's own triggers.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillmarfe)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Quillmar Front End developers")
set(CPACK_PACKAGE_CONTACT "Quillmar Front End developers <quillmarfe@quillmarfe.example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "desktop front end for cleaning Commodore tape images")
set(CPACK_PACKAGE_DESCRIPTION
"Quillmar Front End attaches a TAP file or a ZORV tape dump, runs Test, Clean,
Batch, Convert and Record through the bundled console program quillmar, shows
its report, and browses the PRG files it extracted as hex, 6502 disassembly and
BASIC. Its own tape tools analyse pulses, edit and split tapes and repair CBM
files. The command-line companion quillmarfe-cli prints and writes what the
window shows and writes.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# cc1541 writes the D64 images of the Prg Files page; without it that one
# action says so.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "hicolor-icon-theme, shared-mime-info, cc1541")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://quillmarfe.example.org/")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# Only the install rules of the programs and their files: nothing of the
# tests, the benchmarks or the sample tool.
set(CPACK_INSTALL_CMAKE_PROJECTS "${CMAKE_BINARY_DIR};${PROJECT_NAME};ALL;/")
include(CPack)
