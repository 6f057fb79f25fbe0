# Installing like any desktop program, and the Debian package made from the same rules
# (cpack -G DEB): the program in bin, its skins and resource lists in
# share/qel3plugintesthost (where the program looks once installed, relative to itself), the
# example plug-ins in the system plug-in folder lib/qel3, a desktop entry and an icon.
include(GNUInstallDirs)

install(TARGETS Qel3PluginTestHost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/skin/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/qel3plugintesthost/skin
        FILES_MATCHING PATTERN "*.ui")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/presets/resources/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/qel3plugintesthost/resources)
# The examples as the build leaves them: package folders and plain modules.
install(DIRECTORY ${QEL_MODULE_DIR}/ DESTINATION lib/qel3 USE_SOURCE_PERMISSIONS)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/qel3plugintesthost.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/qel3plugintesthost.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

set(CPACK_PACKAGE_NAME qel3plugintesthost)
set(CPACK_PACKAGE_VENDOR "Quillmark")
set(CPACK_PACKAGE_CONTACT "Quillmark <qel3plugintesthost@quillmark.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Host for loading, inspecting, editing and testing Qel 3 audio plug-ins")
set(CPACK_PACKAGE_DESCRIPTION
    "Qel3PluginTestHost scans the plug-in folders, shows what a Qel 3 module declares, runs the conformity test suite over its classes, edits a plug-in through the generic editor and reads and writes preset files. The command-line modes need no display.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries the program and the examples link are found by dpkg-shlibdeps (Qt 6, expat,
# zlib, the C++ runtime); the audio and MIDI drivers open JACK and ALSA.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Windows need Qt's X11 platform plugin, which no library links.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libjack-jackd2-0 | libjack0, libasound2, qt6-qpa-plugins")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "jackd2")
include(CPack)
