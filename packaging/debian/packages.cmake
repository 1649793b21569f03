# Debian packages of the two components, made by scripts/package.
set(TDR_CONTACT "The TDR authors <tdr@authors.invalid>"
  CACHE STRING "Who answers for the packages: a name and an address")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tdr)
set(CPACK_PACKAGE_CONTACT "${TDR_CONTACT}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "image-file driver for Softimage PIC and TAG files")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL programs development)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/finish.cmake)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME tdr)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS shared-mime-info)
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION
"Reads and writes Softimage pictures (PIC) and mattes (TAG), converts them from
and to PNG, compares, checks and shows them, and describes scenes, splines and
hierarchies. Each format is read by a driver, a small program of its own.
File managers show thumbnails of the pictures.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtdr-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS tdr)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libx11-dev)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"Libraries, headers, documents and examples for programs that read and write
pictures through drivers, for new drivers, and for the toolkit of Softimage
files: pictures, mattes, scenes, curves, splines and hierarchies.")
include(CPack)
