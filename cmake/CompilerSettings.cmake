# Warnings, warnings-as-errors and sanitizers for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
                    -Wcast-align -Woverloaded-virtual -Wconversion -Wsign-conversion
                    -Wnull-dereference -Wformat=2)
if(MARVANE_WERROR)
    add_compile_options(-Werror)
endif()

set(_known_sanitizers address undefined)
foreach(_sanitizer IN LISTS MARVANE_SANITIZERS)
    if(NOT _sanitizer IN_LIST _known_sanitizers)
        message(FATAL_ERROR "Unknown sanitizer '${_sanitizer}' in MARVANE_SANITIZERS; "
                            "known: ${_known_sanitizers}")
    endif()
endforeach()
if(MARVANE_SANITIZERS)
    list(JOIN MARVANE_SANITIZERS "," _sanitizer_list)
    add_compile_options(-fsanitize=${_sanitizer_list} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${_sanitizer_list})
endif()
