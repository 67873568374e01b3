# `make install` and `make package`: the installed layout and the Debian
# package. CPack rather than a debian/ folder: the package is built from the
# same install rules as `make install`, with no second description of the
# layout to keep in step.

# The executable in bin/, its core and the graphical module in the private
# folder; each finds the others through a run path relative to itself.
set_target_properties(limitra_core limitra_gui PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS limitra RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS limitra_core limitra_gui LIBRARY DESTINATION ${LIMITRA_PRIVATE_LIBDIR} NAMELINK_SKIP)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME limitra)
set(CPACK_PACKAGE_VENDOR "The Limitra developers")
set(CPACK_PACKAGE_CONTACT "${LIMITRA_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "usage limits of the Codex and Claude Code CLIs")
set(CPACK_PACKAGE_DESCRIPTION
    "Limitra shows how much of their subscription usage limits a developer has\n"
    "used in the OpenAI Codex and Claude Code command-line tools: a tray icon\n"
    "with the highest current percentage, a panel with one card per provider,\n"
    "a dashboard with the history, notifications at a chosen threshold, and\n"
    "command-line checks.")
string(REPLACE ";" "" CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# dpkg-shlibdeps finds the Qt libraries the binaries link. What Qt loads at
# run time it cannot see: the QML modules the views import, the platform
# plugins (X11 in qt6-qpa-plugins, Wayland in qt6-wayland) and the SVG image
# plugin that draws the icons.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "qml6-module-qtqml, qml6-module-qtqml-models, qml6-module-qtqml-workerscript, qml6-module-qtquick, \
qml6-module-qtquick-controls, qml6-module-qtquick-layouts, qml6-module-qtquick-templates, \
qml6-module-qtquick-window, qt6-qpa-plugins, qt6-wayland, libqt6svg6")
# The icon cache, the desktop database and the AppStream cache are refreshed by
# the file triggers of gtk-update-icon-cache, desktop-file-utils and appstream:
# the package needs no maintainer scripts of its own.

include(CPack)
