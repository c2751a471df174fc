# The host's folders as layers the linker holds apart.
#
# Each folder is a library of its own (an object library; the host's shared library is made of
# all of them) whose target_link_libraries name the folders of the level below it in the stack.
# Beside each stands its wall: a shared library of the folder's objects alone, linked against
# the walls of the level below, with every symbol it uses required to be found (-z defs). A call
# from a folder into one above it or beside it needs a symbol that no wall below defines, and
# the link stops the build with "undefined reference".
#
#   marvane_host_stack(<level> ...)   the stack, lowest first; folders of one level are joined
#                                     by "+" and stand side by side, using none of each other
#   marvane_host_layer(<folder> [SOURCES <file> ...] [LIBRARIES <library> ...])
#
# A folder already built as a static library of its own (marvane_<folder> exists) gets only its
# wall, which takes the whole archive.

function(marvane_host_stack)
    set(_level 0)
    foreach(_folders IN LISTS ARGN)
        string(REPLACE "+" ";" _folders "${_folders}")
        foreach(_folder IN LISTS _folders)
            set_property(GLOBAL PROPERTY MARVANE_LEVEL_OF_${_folder} ${_level})
        endforeach()
        set_property(GLOBAL PROPERTY MARVANE_LEVEL_${_level} "${_folders}")
        math(EXPR _level "${_level} + 1")
    endforeach()
    set_property(GLOBAL PROPERTY MARVANE_HOST_STACK "${ARGN}")
endfunction()

function(marvane_host_layer folder)
    cmake_parse_arguments(PARSE_ARGV 1 _arg "" "" "SOURCES;LIBRARIES")
    get_property(_level GLOBAL PROPERTY MARVANE_LEVEL_OF_${folder})
    if(_level STREQUAL "")
        message(FATAL_ERROR "${folder}/: a folder the stack of layers does not place")
    endif()
    set(_below "")
    if(_level GREATER 0)
        math(EXPR _lower "${_level} - 1")
        get_property(_below GLOBAL PROPERTY MARVANE_LEVEL_${_lower})
    endif()
    list(TRANSFORM _below PREPEND marvane_ OUTPUT_VARIABLE _below_libraries)
    list(TRANSFORM _below_libraries APPEND _wall OUTPUT_VARIABLE _below_walls)

    if(_arg_SOURCES)
        add_library(marvane_${folder} OBJECT ${_arg_SOURCES})
        set_target_properties(marvane_${folder} PROPERTIES POSITION_INDEPENDENT_CODE ON)
        target_link_libraries(marvane_${folder} PUBLIC ${_below_libraries} ${_arg_LIBRARIES})
        set(_objects $<TARGET_OBJECTS:marvane_${folder}>)
        set(_archive "")
    elseif(TARGET marvane_${folder})
        set(_objects "")
        set(_archive "$<LINK_LIBRARY:WHOLE_ARCHIVE,marvane_${folder}>")
    else()
        message(FATAL_ERROR "${folder}/: no sources and no library of its own")
    endif()

    # A shared library needs one source of its own.
    set(_source ${CMAKE_CURRENT_BINARY_DIR}/walls/${folder}.cpp)
    file(CONFIGURE OUTPUT ${_source}
         CONTENT "// The wall of ${folder}/: its objects alone, linked against the level below.\n")
    add_library(marvane_${folder}_wall SHARED ${_source} ${_objects})
    target_link_libraries(marvane_${folder}_wall PRIVATE ${_archive}
                          PUBLIC ${_below_walls} ${_arg_LIBRARIES})
    target_link_options(marvane_${folder}_wall PRIVATE LINKER:-z,defs)
    set_target_properties(marvane_${folder}_wall PROPERTIES
        LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/walls)
endfunction()
