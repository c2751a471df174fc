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
        lib/marvane/marvane
        lib/marvane/libMarvane.so
        lib/marvane/plugins/HandlerTandrel.so
        share/applications/org.marvane.Marvane.desktop
        share/metainfo/org.marvane.Marvane.metainfo.xml
        share/icons/hicolor/scalable/apps/org.marvane.Marvane.svg
        share/man/man1/marvane.1)
    if(NOT EXISTS ${PREFIX}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()

function(run what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out
        ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
    endif()
    set(output "${out}${err}" PARENT_SCOPE)
endfunction()

run("desktop-file-validate" desktop-file-validate
    ${PREFIX}/share/applications/org.marvane.Marvane.desktop)
run("appstreamcli validate" appstreamcli validate --no-net --pedantic
    ${PREFIX}/share/metainfo/org.marvane.Marvane.metainfo.xml)
run("man" man --warnings -l -Tutf8 ${PREFIX}/share/man/man1/marvane.1)
if(NOT output MATCHES "organise a shared production")
    message(FATAL_ERROR "the man page does not read as expected:\n${output}")
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
