# The Debian package (scripts/package): the installed files, with dependencies found by
# dpkg-shlibdeps from the libraries the executable links.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME scrivlane)
set(CPACK_PACKAGE_VENDOR "The ScrivLane contributors")
set(CPACK_PACKAGE_CONTACT "${SCRIVLANE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "text expander for the Linux desktop")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://github.com/pellucidforge/scrivlane")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "ScrivLane lives in the system tray and watches what you type in other
applications; when the characters just typed end with one of your
abbreviations, it replaces them with the snippet, pasted through the
clipboard, which it then puts back. Snippets carry macros for dates, the
clipboard, the cursor, fill-in fields, nested snippets and AI prompts.
It works in X11 sessions and with XWayland applications.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded as Qt plugins, so dpkg-shlibdeps cannot see it: the SVG icons need it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6svg6")
# A Secret Service keeps AI keys in the keyring; without one they go to a private file.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gnome-keyring | kwalletmanager")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
