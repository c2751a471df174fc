# Fails when a file of the module includes anything but the standard library and host/ or
# its own headers. Run as: cmake -DMODULE_DIR=<HandlerTandrel> -P CheckModuleIncludes.cmake
cmake_minimum_required(VERSION 3.25)
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
            endif()
        else()
            string(APPEND _problems "${_file}: ${_line} (an include the check cannot read)\n")
        endif()
    endforeach()
endforeach()
if(_problems)
    message(FATAL_ERROR "The module includes headers outside the standard library and host/:\n"
                        "${_problems}")
endif()
list(LENGTH _files _count)
message(STATUS "Checked the includes of ${_count} module files")
