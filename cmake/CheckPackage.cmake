# Makes the Debian package from the build, checks it with dpkg-deb and lintian, installs it
# with dpkg into a root of its own that holds nothing else, and runs the installed program
# there. The dependencies are not in that root: they are checked to be the libraries the
# program links to, and each is installed on this machine, so the program runs.
set(OUT ${BUILD_DIR}/package-check)
file(REMOVE_RECURSE ${OUT})
file(MAKE_DIRECTORY ${OUT})

include(${CMAKE_CURRENT_LIST_DIR}/CheckRun.cmake)

run("cpack" cpack -G DEB --config ${BUILD_DIR}/CPackConfig.cmake -B ${OUT}/made)
run("dpkg --print-architecture" dpkg --print-architecture)
string(STRIP "${output}" arch)
set(deb ${OUT}/made/marvane_${VERSION}_${arch}.deb)
if(NOT EXISTS ${deb})
    file(GLOB made ${OUT}/made/*.deb)
    message(FATAL_ERROR "no ${deb}; made: ${made}")
endif()

# What it holds.
run("dpkg-deb --contents" dpkg-deb --contents ${deb})
set(contents "${output}")
foreach(file IN ITEMS
        "./usr/bin/marvane -> ../libexec/marvane/marvane"
        ./usr/libexec/marvane/marvane
        ./usr/libexec/marvane/libMarvane.so
        ./usr/libexec/marvane/plugins/HandlerTandrel.so
        ./usr/share/applications/org.marvane.Marvane.desktop
        ./usr/share/metainfo/org.marvane.Marvane.metainfo.xml
        ./usr/share/icons/hicolor/scalable/apps/org.marvane.Marvane.svg
        ./usr/share/icons/hicolor/scalable/mimetypes/application-x-marvane-project.svg
        ./usr/share/mime/packages/org.marvane.Marvane.xml
        ./usr/share/man/man1/marvane.1.gz
        ./usr/share/doc/marvane/copyright
        ./usr/share/doc/marvane/changelog.gz)
    string(FIND "${contents}" "${file}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "the package lacks ${file}:\n${contents}")
    endif()
endforeach()

# Its dependencies: the Qt libraries it links to, found by dpkg-shlibdeps, each installed here.
run("dpkg-deb --field" dpkg-deb --field ${deb} Depends)
string(STRIP "${output}" depends)
foreach(package IN ITEMS libc6 libstdc++6 libqt6core6 libqt6gui6 libqt6widgets6 libqt6svg6
        libqt6dbus6)
    string(REPLACE "+" "\\+" pattern "${package}")
    if(NOT depends MATCHES "(^|, )${pattern} \\(>= ")
        message(FATAL_ERROR "the package does not depend on ${package}: ${depends}")
    endif()
endforeach()
string(REGEX REPLACE " \\([^)]*\\)" "" names "${depends}")
string(REPLACE ", " ";" names "${names}")
foreach(package IN LISTS names)
    run("dpkg-query ${package}" dpkg-query -W -f=\${Status} ${package})
    if(NOT output MATCHES "install ok installed")
        message(FATAL_ERROR "${package}, a dependency, is not installed here: ${output}")
    endif()
endforeach()

# Debian's package checker: no error and no warning.
run("lintian" lintian --no-tag-display-limit ${deb})
string(REGEX MATCHALL "(^|\n)[EW]: [^\n]*" complaints "${output}")
if(complaints)
    message(FATAL_ERROR "lintian:\n${output}")
endif()

# A root that holds nothing but dpkg's database, and the package installed into it.
set(root ${OUT}/root)
file(MAKE_DIRECTORY ${root}/var/lib/dpkg/info ${root}/var/lib/dpkg/updates ${root}/var/log)
file(TOUCH ${root}/var/lib/dpkg/status)
run("dpkg --root -i" dpkg --root=${root} --log=${root}/var/log/dpkg.log --force-depends
    -i ${deb})
run("dpkg --root -s" dpkg --root=${root} -s marvane)
if(NOT output MATCHES "Status: install ok installed")
    message(FATAL_ERROR "not installed in the root:\n${output}")
endif()
run("the installed marvane --version" ${root}/usr/bin/marvane --version)
if(NOT output MATCHES "marvane ${VERSION}")
    message(FATAL_ERROR "unexpected version text: ${output}")
endif()
run("the installed marvane --list-commands" env QT_QPA_PLATFORM=offscreen
    ${root}/usr/bin/marvane --profile ${OUT}/profile --list-commands)
if(NOT output MATCHES "cmd.mvproductionfolder.movetotrash")
    message(FATAL_ERROR "the installed program did not load its plug-in:\n${output}")
endif()
# Removed again, it leaves nothing of its own behind.
run("dpkg --root --purge" dpkg --root=${root} --log=${root}/var/log/dpkg.log --purge marvane)
file(GLOB_RECURSE left LIST_DIRECTORIES false ${root}/usr/*)
if(left)
    message(FATAL_ERROR "left behind by the package: ${left}")
endif()
message(STATUS "${deb} checked, installed into ${root} and run")
