# The Debian package, built by CPack from the install rules: `cpack -G DEB` in a build
# configured with --prefix /usr (scripts/build-deb.sh does both). Depends are computed by
# dpkg-shlibdeps from the installed executables, so they follow whatever the executables link.

# Maintainer and version come from the changelog's newest entry, the one place they are written.
file(STRINGS "${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog" changelog_top LIMIT_COUNT 1)
file(STRINGS "${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog" changelog_trailers REGEX "^ -- ")
list(GET changelog_trailers 0 changelog_trailer)
if(NOT changelog_trailer MATCHES "^ -- (.+ <[^>]+>)  ")
    message(FATAL_ERROR "packaging/debian/changelog: no maintainer line in its newest entry")
endif()
set(CPACK_PACKAGE_CONTACT "${CMAKE_MATCH_1}")
if(NOT changelog_top MATCHES "^binwise \\(([^)]+)\\)")
    message(FATAL_ERROR "packaging/debian/changelog: its first line names no version")
endif()
set(BINWISE_PACKAGE_VERSION "${CMAKE_MATCH_1}")

set(CPACK_GENERATOR "DEB")
set(CPACK_PACKAGE_NAME "binwise")
set(CPACK_PACKAGE_VENDOR "The Binwise developers")
set(CPACK_PACKAGE_VERSION "${BINWISE_PACKAGE_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Trash manager for every mounted volume")
# Lines of the extended description stay under 80 columns: dpkg shows them as they are.
string(JOIN "\n" CPACK_PACKAGE_DESCRIPTION
    "Binwise manages the Trash of every mounted volume from a tray menu. Each"
    "volume's Trash shows its item count and size; you empty all Trashes, or one"
    "volume's, or pick single items in the smart-delete window and erase only"
    "those."
    ""
    "Erases can be secure (overwritten with srm) and are written to a plain-text"
    "log; items your own rights cannot remove are erased by a small privileged"
    "helper through polkit. The binwise command drives the same engine from"
    "scripts and headless machines.")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME "DEB-DEFAULT")
set(CPACK_DEBIAN_PACKAGE_SECTION "utils")
set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Plugins the tray application loads at run time, which no library dependency brings: the X11
# and Wayland platforms, and SVG for the tray and application icons.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, qt6-wayland, libqt6svg6")
# srm for secure erase; pkexec (with polkitd) to run the helper for items your rights cannot
# remove. Listing and emptying Trashes needs neither.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "secure-delete, pkexec")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE "xz")
# Directories the install creates get 0755 whatever the umask of the build.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

include(CPack)
