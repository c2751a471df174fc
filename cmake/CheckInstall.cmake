# Installs the build into PREFIX and checks what arrived: every file in its standard place,
# the desktop entry and metainfo accepted by their validators, the man page readable, and the
# installed program running from the prefix with its plug-in.
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
    RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${result}")
endif()

foreach(file IN ITEMS
        bin/marvane
        libexec/marvane/marvane
        libexec/marvane/libMarvane.so
        libexec/marvane/plugins/HandlerTandrel.so
        share/applications/org.marvane.Marvane.desktop
        share/metainfo/org.marvane.Marvane.metainfo.xml
        share/icons/hicolor/scalable/apps/org.marvane.Marvane.svg
        share/man/man1/marvane.1.gz
        share/doc/marvane/copyright
        share/doc/marvane/changelog.gz
        share/mime/packages/org.marvane.Marvane.xml
        share/icons/hicolor/scalable/mimetypes/application-x-marvane-project.svg)
    if(NOT EXISTS ${PREFIX}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()

include(${CMAKE_CURRENT_LIST_DIR}/CheckRun.cmake)

run("desktop-file-validate" desktop-file-validate
    ${PREFIX}/share/applications/org.marvane.Marvane.desktop)
run("appstreamcli validate" appstreamcli validate --no-net --pedantic
    ${PREFIX}/share/metainfo/org.marvane.Marvane.metainfo.xml)
run("man" man --warnings -l -Tutf8 ${PREFIX}/share/man/man1/marvane.1.gz)
if(NOT output MATCHES "organise a shared production")
    message(FATAL_ERROR "the man page does not read as expected:\n${output}")
endif()

# The project file type: a .mvproj file is known as one, marvane is what opens it, and a
# folder is not claimed (the file manager keeps opening folders itself). Asked as a desktop
# asks, with the prefix's data first and no one's own choices.
run("update-mime-database" update-mime-database ${PREFIX}/share/mime)
run("update-desktop-database" update-desktop-database ${PREFIX}/share/applications)
file(WRITE "${PREFIX}/check/Scene 1.mvproj" "{\"formatVersion\":1,\"name\":\"Scene 1\"}\n")
set(desktop env -u XDG_CURRENT_DESKTOP -u DESKTOP_SESSION -u KDE_FULL_SESSION
    -u GNOME_DESKTOP_SESSION_ID XDG_DATA_DIRS=${PREFIX}/share:/usr/share
    XDG_DATA_HOME=${PREFIX}/check/data XDG_CONFIG_HOME=${PREFIX}/check/config)
run("xdg-mime query filetype" ${desktop} xdg-mime query filetype "${PREFIX}/check/Scene 1.mvproj")
if(NOT output MATCHES "^application/x-marvane-project")
    message(FATAL_ERROR "a .mvproj file is not known as a project: ${output}")
endif()
run("xdg-mime query default" ${desktop} xdg-mime query default application/x-marvane-project)
if(NOT output MATCHES "^org.marvane.Marvane.desktop")
    message(FATAL_ERROR "marvane does not open projects: ${output}")
endif()
run("xdg-mime query default" ${desktop} xdg-mime query default inode/directory)
if(output MATCHES "org.marvane.Marvane")
    message(FATAL_ERROR "marvane claims folders: ${output}")
endif()

# The installed program, through its link in bin, from a folder of its own.
run("marvane --version" ${PREFIX}/bin/marvane --version)
if(NOT output MATCHES "marvane ${VERSION}")
    message(FATAL_ERROR "unexpected version text: ${output}")
endif()
run("marvane --list-commands" env QT_QPA_PLATFORM=offscreen ${PREFIX}/bin/marvane
    --profile ${PREFIX}/profile --list-commands)
if(NOT output MATCHES "cmd.mvproductionfolder.movetotrash")
    message(FATAL_ERROR "the installed program did not load its plug-in:\n${output}")
endif()
message(STATUS "installed and checked under ${PREFIX}")
