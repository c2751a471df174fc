# What `cmake --install` puts under the prefix: the program with its library and plug-ins in
# libexec/marvane (the program finds both beside itself), a link to it in bin, and the desktop
# entry, AppStream metainfo, icon, man page and the project file type in their standard places.
include(GNUInstallDirs)

set(MARVANE_INSTALL_DIR ${CMAKE_INSTALL_LIBEXECDIR}/marvane)
set(MARVANE_INSTALL_SOURCES ${PROJECT_SOURCE_DIR}/Marvane/resources/install)

set_target_properties(marvane PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS marvane Marvane
    RUNTIME DESTINATION ${MARVANE_INSTALL_DIR}
    LIBRARY DESTINATION ${MARVANE_INSTALL_DIR})
install(TARGETS HandlerTandrel LIBRARY DESTINATION ${MARVANE_INSTALL_DIR}/plugins)
install(CODE "
    file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(CREATE_LINK \"../${MARVANE_INSTALL_DIR}/marvane\"
         \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/marvane\" SYMBOLIC)")

configure_file(${MARVANE_INSTALL_SOURCES}/org.marvane.Marvane.metainfo.xml
    ${CMAKE_BINARY_DIR}/install/org.marvane.Marvane.metainfo.xml @ONLY)
configure_file(${MARVANE_INSTALL_SOURCES}/marvane.1 ${CMAKE_BINARY_DIR}/install/marvane.1 @ONLY)
configure_file(${MARVANE_INSTALL_SOURCES}/changelog
    ${CMAKE_BINARY_DIR}/install/changelog @ONLY)
# Manual pages and changelogs are installed compressed, as the system's are; -n keeps the
# archive the same from one build to the next.
find_program(MARVANE_GZIP gzip REQUIRED)
foreach(document marvane.1 changelog)
    add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/install/${document}.gz
        COMMAND ${MARVANE_GZIP} -9nf -k ${CMAKE_BINARY_DIR}/install/${document}
        DEPENDS ${CMAKE_BINARY_DIR}/install/${document}
        COMMENT "Compressing ${document}")
    list(APPEND MARVANE_COMPRESSED_DOCUMENTS ${CMAKE_BINARY_DIR}/install/${document}.gz)
endforeach()
add_custom_target(marvane_compressed_documents ALL DEPENDS ${MARVANE_COMPRESSED_DOCUMENTS})
install(FILES ${MARVANE_INSTALL_SOURCES}/org.marvane.Marvane.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${CMAKE_BINARY_DIR}/install/org.marvane.Marvane.metainfo.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${MARVANE_INSTALL_SOURCES}/org.marvane.Marvane.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${CMAKE_BINARY_DIR}/install/marvane.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${MARVANE_INSTALL_SOURCES}/copyright ${CMAKE_BINARY_DIR}/install/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/marvane)
# The project file type (shared-mime-info) and its icon.
install(FILES ${MARVANE_INSTALL_SOURCES}/org.marvane.Marvane.mime.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages RENAME org.marvane.Marvane.xml)
install(FILES ${MARVANE_INSTALL_SOURCES}/application-x-marvane-project.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/mimetypes)

if(MARVANE_BUILD_TESTS)
    # Installs into a folder of the build, checks every file with the system's validators,
    # and runs the installed program.
    add_test(NAME InstallPutsEverythingInItsPlaceAndRuns
        COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR}
                -DPREFIX=${CMAKE_BINARY_DIR}/install-check
                -DVERSION=${PROJECT_VERSION}
                -P ${PROJECT_SOURCE_DIR}/cmake/CheckInstall.cmake)
    # Makes the Debian package, checks it and installs it into a root of its own.
    add_test(NAME DebianPackageIsCleanInstallsIntoAnEmptyRootAndRuns
        COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DVERSION=${PROJECT_VERSION}
                -P ${PROJECT_SOURCE_DIR}/cmake/CheckPackage.cmake)
    set_tests_properties(DebianPackageIsCleanInstallsIntoAnEmptyRootAndRuns PROPERTIES
        RESOURCE_LOCK package-check TIMEOUT 300)
endif()
