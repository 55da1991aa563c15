# The desktop's view of Lumora (menu entry, icon, software-centre metadata) and the Debian package.
# `lumora` goes to bin and its hook helper to libexec/lumora by the rules beside their targets;
# lumora finds the helper relative to its own executable, so any prefix works.
set(LUMORA_PACKAGING_DIR ${CMAKE_CURRENT_LIST_DIR})
install(FILES ${LUMORA_PACKAGING_DIR}/lumora.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${LUMORA_PACKAGING_DIR}/io.github.lumora.Lumora.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${LUMORA_PACKAGING_DIR}/lumora.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumora)
set(CPACK_PACKAGE_VENDOR "The Lumora developers")
set(CPACK_PACKAGE_CONTACT "The Lumora developers <lumora@users.noreply.github.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Shows how much Claude Code and Codex usage allowance is left")
set(CPACK_PACKAGE_DESCRIPTION
    "Lumora sits in the desktop panel and shows how much of the usage allowance is left in\n\
Claude Code and Codex, notifies at 80% and at the limit, and offers a break screen\n\
until the limit resets. It learns the usage only from the tools on this computer.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://github.com/lumora/lumora)
# Shared libraries are found by dpkg-shlibdeps; what the tray loads at run time is named here:
# the QML modules of its views, Qt Gui (its X11 platform plugin, xcb), Qt's SVG plugins for the
# icons, Qt D-Bus, a session bus for the status item, the notifications and the single instance,
# the break screen's typeface, and Qt SQL's SQLite driver for the usage history (a plugin, so
# the shared-library scan does not find it). Qt's own translations are recommended: the file
# dialog speaks German and French with them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "qml6-module-qtquick, qml6-module-qtquick-controls, qml6-module-qtquick-dialogs, \
qml6-module-qtquick-layouts, qml6-module-qtquick-window, qml6-module-qtquick-templates, \
qml6-module-qtqml-workerscript, libqt6gui6, libqt6svg6, libqt6dbus6, libqt6sql6-sqlite, \
fonts-urw-base35, \
default-dbus-session-bus | dbus-session-bus")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland, qt6-translations-l10n")
include(CPack)
