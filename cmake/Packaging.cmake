# The Debian package: `cpack -G DEB` (scripts/package builds a release and runs it) makes
# marvane_<version>_<arch>.deb from what `cmake --install` puts under /usr, its dependencies
# found by dpkg-shlibdeps from the libraries the program and its plug-in link to.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME marvane)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Marvane developers")
set(CPACK_PACKAGE_CONTACT "The Marvane developers <marvane@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "organise a shared production of project files")
set(CPACK_PACKAGE_DESCRIPTION
    "marvane shows a production, a shared folder of project files used by several
editors, as a tree with the lock status of every project, and lets editors
organise it: new folders and projects, copies, renames, drag and drop, a trash
and a search. Two editors on one shared folder see each other's locks live.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF) # its library is private, in /usr/libexec/marvane
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_SOURCE_IGNORE_FILES "/build/;/\\\\.git/")
include(CPack)
