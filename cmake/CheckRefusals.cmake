# Tests that show a check script refuses what it must: one test per case "Name|fixture|regex",
# each running the script on tests/fixtures/<fixtures>/<fixture> (passed as -D<variable>=...)
# and passing only when the output matches the regex (the file and the reason named). With
# AS_ERROR the script must also stop with an error: a check that only warned would pass
# otherwise, its output matching all the same.
#   marvane_check_refusals(<test prefix> <script> <fixtures folder> <variable> [AS_ERROR]
#                          [DEFINES -Dname=value ...] CASES "Name|fixture|regex" ...)
function(marvane_check_refusals prefix script fixtures variable)
    cmake_parse_arguments(PARSE_ARGV 4 _arg "AS_ERROR" "" "DEFINES;CASES")
    foreach(_case IN LISTS _arg_CASES)
        string(REPLACE "|" ";" _case "${_case}")
        list(GET _case 0 _name)
        list(GET _case 1 _fixture)
        list(GET _case 2 _expected)
        add_test(NAME ${prefix}${_name}
            COMMAND ${CMAKE_COMMAND}
                    -D${variable}=${PROJECT_SOURCE_DIR}/tests/fixtures/${fixtures}/${_fixture}
                    ${_arg_DEFINES} -P ${script})
        if(_arg_AS_ERROR)
            set(_expected "CMake Error.*${_expected}")
        endif()
        set_tests_properties(${prefix}${_name} PROPERTIES PASS_REGULAR_EXPRESSION "${_expected}")
    endforeach()
endfunction()
