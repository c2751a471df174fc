# Fails when a file of the module includes anything but the standard library and host/ or
# its own headers, or when a folder of the module includes one above it. Run as:
#   cmake -DMODULE_DIR=<HandlerTandrel> -DORDER=<folders> -P CheckModuleIncludes.cmake
# ORDER lists the module's folders, lowest first, separated by commas: a folder may include its
# own headers and those of the folders before it. The files at the top (the module's entry)
# stand above every folder; host/ is the host's interface and includes only itself.
cmake_minimum_required(VERSION 3.25)
if(NOT ORDER)
    message(FATAL_ERROR "No order of the module's folders given (-DORDER=base,utils,...)")
endif()
string(REPLACE "," ";" _order "${ORDER}")
set(_index 0)
foreach(_folder IN LISTS _order)
    set(_level_of_${_folder} ${_index})
    math(EXPR _index "${_index} + 1")
endforeach()
set(_standard_headers
    algorithm any array atomic bit bitset cassert cctype cerrno cfloat charconv chrono cinttypes
    climits clocale cmath compare concepts condition_variable cstddef cstdint cstdio cstdlib
    cstring ctime cwchar cwctype deque exception filesystem format forward_list fstream
    functional future initializer_list iomanip ios iosfwd iostream istream iterator limits list
    locale map memory mutex new numeric optional ostream queue random ranges ratio regex
    scoped_allocator set shared_mutex source_location span sstream stack stdexcept stop_token
    streambuf string string_view system_error thread tuple type_traits typeindex typeinfo
    unordered_map unordered_set utility valarray variant vector version)
file(GLOB_RECURSE _files "${MODULE_DIR}/*.h" "${MODULE_DIR}/*.hpp" "${MODULE_DIR}/*.cpp"
     "${MODULE_DIR}/*.cc" "${MODULE_DIR}/*.inc")
set(_problems "")
foreach(_file IN LISTS _files)
    # The folder the file is in: empty at the top.
    file(RELATIVE_PATH _relative "${MODULE_DIR}" "${_file}")
    set(_own "")
    if(_relative MATCHES "^([^/]+)/")
        set(_own "${CMAKE_MATCH_1}")
        if(NOT _own STREQUAL "host" AND NOT DEFINED _level_of_${_own})
            string(APPEND _problems "${_file}: ${_own}/ is a folder the order does not place\n")
            continue()
        endif()
    endif()
    file(STRINGS "${_file}" _lines REGEX "^[ \t]*#[ \t]*include")
    foreach(_line IN LISTS _lines)
        if(_line MATCHES "<([^>]+)>")
            if(NOT CMAKE_MATCH_1 IN_LIST _standard_headers)
                string(APPEND _problems "${_file}: ${_line}\n")
            endif()
        elseif(_line MATCHES "\"([^\"]+)\"")
            # Kept apart: a MATCHES that fails clears CMAKE_MATCH_1.
            set(_header "${CMAKE_MATCH_1}")
            if(_header MATCHES "\\.\\.")
                string(APPEND _problems "${_file}: ${_line} (reaches outside the module)\n")
            elseif(NOT EXISTS "${MODULE_DIR}/${_header}" OR IS_DIRECTORY "${MODULE_DIR}/${_header}")
                string(APPEND _problems "${_file}: ${_line} (not a header of the module)\n")
            else()
                set(_used "")
                if(_header MATCHES "^([^/]+)/")
                    set(_used "${CMAKE_MATCH_1}")
                endif()
                if(_own STREQUAL "host" AND NOT _used STREQUAL "host")
                    string(APPEND _problems "${_file}: ${_line} (host/ includes only host/)\n")
                elseif(_own STREQUAL "" OR _used STREQUAL "host" OR _used STREQUAL _own)
                    # The top uses anything; host/ is there for everyone.
                elseif(_used STREQUAL "")
                    string(APPEND _problems
                           "${_file}: ${_line} (${_own}/ may not use the module's top, above it)\n")
                elseif(NOT DEFINED _level_of_${_used})
                    string(APPEND _problems "${_file}: ${_line} (a folder the order does not place)\n")
                elseif(_level_of_${_used} GREATER _level_of_${_own})
                    string(APPEND _problems
                           "${_file}: ${_line} (${_own}/ may not use ${_used}/, which is above it)\n")
                endif()
            endif()
        else()
            string(APPEND _problems "${_file}: ${_line} (an include the check cannot read)\n")
        endif()
    endforeach()
endforeach()
if(_problems)
    message(FATAL_ERROR "The module includes headers outside the standard library and host/, "
                        "or upwards:\n"
                        "${_problems}")
endif()
list(LENGTH _files _count)
message(STATUS "Checked the includes of ${_count} module files")
