# The Debian package: `make package` (cpack in the build tree) writes numbrel_VERSION_amd64.deb.
# The libraries the programs link come from dpkg-shlibdeps; what they load at run time (QML modules,
# the Qt SVG image plugin) and the tools they start are listed here.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME numbrel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Numbrel developers")
set(CPACK_PACKAGE_CONTACT "The Numbrel developers <support@numbrel.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "keeps utility meter readings and shows usage and cost")
set(CPACK_PACKAGE_DESCRIPTION_FILE ${PROJECT_SOURCE_DIR}/data/package-description.txt)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://numbrel.org)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
string(JOIN ", " CPACK_DEBIAN_PACKAGE_DEPENDS
       qml6-module-qtquick
       qml6-module-qtquick-window
       qml6-module-qtquick-controls
       qml6-module-qtquick-templates
       qml6-module-qtquick-layouts
       qml6-module-qtquick-dialogs
       qml6-module-qtqml-workerscript
       qml6-module-qt-labs-folderlistmodel
       libqt6svg6
       ca-certificates
       xdg-utils)
# Reminders go to the desktop through notify-send and the user's systemd; a keyring keeps the Dropbox
# token; Avahi announces the Wi-Fi transfer pages. Each is asked for when there, and missed quietly.
string(JOIN ", " CPACK_DEBIAN_PACKAGE_RECOMMENDS libnotify-bin systemd gnome-keyring avahi-daemon)
include(CPack)
