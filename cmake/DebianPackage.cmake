# The Debian package built by `cpack -G DEB` (tools/package.sh): the install rules of the
# project, installed under /usr, with control fields a user and apt expect and the
# copyright file Debian asks of every package.

set(OSC_HOMEPAGE "https://example.org/lumenfold-osc-emulator" CACHE STRING
    "Homepage field of the package: the address of the project's repository")
set(OSC_MAINTAINER "Lumenfold OSC Emulator maintainers <maintainers@example.org>" CACHE STRING
    "Maintainer field of the package: name <e-mail>")

# The licence, as Debian's machine-readable copyright file (the full GPL text is in
# /usr/share/common-licenses/GPL-3 on every Debian system, and in LICENSE here).
configure_file("${CMAKE_CURRENT_LIST_DIR}/copyright.in" "${PROJECT_BINARY_DIR}/copyright" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/copyright" DESTINATION share/doc/lumenfold-osc-emulator)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumenfold-osc-emulator)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "virtual OSC control desk for testing OSC mappings")
set(CPACK_PACKAGE_DESCRIPTION [=[
Lumenfold OSC Emulator builds a desk of faders, buttons and XY pads from a
JSON fixtures file. Every gesture sends Open Sound Control 1.0 over UDP to a
target application, such as a DJ program, with the exact bytes shown in a
levelled log, so its OSC mappings can be tested without hardware. It can also
act as an OSC receiving device, keeping the last value of each of the 512
channels of universe 0.]=])
set(CPACK_PACKAGE_CONTACT "${OSC_MAINTAINER}")
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${OSC_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${OSC_HOMEPAGE}")
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

# dpkg-shlibdeps finds the shared libraries (libqt6gui6 brings the xcb platform plugin);
# the window also loads, at run time, one plugin per QML module it imports, with the
# modules those import in turn, which no linker sees. FileDialog needs the folder
# model once it opens, Basic's SelectionRectangle needs Shapes.
# The list is shared with tools/common.sh, which installs the same packages to build and test.
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/runtime-qml-packages.txt" OSC_RUNTIME_PACKAGES)
list(JOIN OSC_RUNTIME_PACKAGES ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
# On a Wayland desktop Qt falls back to XWayland without it.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS qt6-wayland)

include(CPack)
