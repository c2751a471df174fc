# Fails when a folder of the host includes a folder above it in the stack of layers, or a
# header of the module other than its host/ headers. Run as:
#   cmake -DHOST_DIR=<Marvane> -DMODULE_HOST_DIR=<HandlerTandrel/host> -P CheckHostLayers.cmake
# The stack, lowest first; folders joined by "+" are side by side and do not include each
# other.
cmake_minimum_required(VERSION 3.25)
# The level of each folder.
set(_index 0)
foreach(_folders IN ITEMS core fileservices monitor+projectbackend documents application
                         uitoolkit+panelframework uiframework+mediabrowser app)
    string(REPLACE "+" ";" _folders "${_folders}")
    foreach(_folder IN LISTS _folders)
        set(_level_of_${_folder} ${_index})
    endforeach()
    math(EXPR _index "${_index} + 1")
endforeach()

file(GLOB _folders RELATIVE "${HOST_DIR}" "${HOST_DIR}/*")
set(_problems "")
set(_count 0)
foreach(_folder IN LISTS _folders)
    if(NOT IS_DIRECTORY "${HOST_DIR}/${_folder}" OR _folder STREQUAL "resources")
        continue()
    endif()
    if(NOT DEFINED _level_of_${_folder})
        string(APPEND _problems "${_folder}/: a folder the stack of layers does not place\n")
        continue()
    endif()
    file(GLOB_RECURSE _files "${HOST_DIR}/${_folder}/*.h" "${HOST_DIR}/${_folder}/*.cpp")
    foreach(_file IN LISTS _files)
        math(EXPR _count "${_count} + 1")
        file(STRINGS "${_file}" _lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
        foreach(_line IN LISTS _lines)
            string(REGEX MATCH "\"([^\"]+)\"" _ignored "${_line}")
            set(_header "${CMAKE_MATCH_1}")
            if(_header MATCHES "^Marvane/([^/]+)/")
                set(_used "${CMAKE_MATCH_1}")
                if(NOT DEFINED _level_of_${_used})
                    string(APPEND _problems "${_file}: ${_line} (a folder outside the stack)\n")
                elseif(NOT _used STREQUAL _folder AND
                       NOT _level_of_${_used} LESS _level_of_${_folder})
                    string(APPEND _problems
                           "${_file}: ${_line} (${_folder}/ may not use ${_used}/, which is not below it)\n")
                endif()
            elseif(_header MATCHES "^host/([^/]+)$")
                if(NOT EXISTS "${MODULE_HOST_DIR}/${CMAKE_MATCH_1}")
                    string(APPEND _problems "${_file}: ${_line} (no such host header)\n")
                endif()
            elseif(NOT _header MATCHES "^[A-Za-z0-9_]+\\.(h|moc)$" OR
                   NOT EXISTS "${HOST_DIR}/${_folder}/${_header}")
                string(APPEND _problems "${_file}: ${_line} (not a header of the host or host/)\n")
            endif()
        endforeach()
    endforeach()
endforeach()
if(_problems)
    message(FATAL_ERROR "The host's layers include upwards or reach into the module:\n${_problems}")
endif()
message(STATUS "Checked the includes of ${_count} host files against the stack of layers")
