# For the check scripts: run(WHAT COMMAND...) runs the command, stops the check with its
# output when it fails, and leaves what it printed (standard output, then error) in `output`.
function(run what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out
        ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
    endif()
    set(output "${out}${err}" PARENT_SCOPE)
endfunction()
