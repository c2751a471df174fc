# Builds a small project of layers (a fixture under tests/fixtures/link-walls) with the host's
# own layer functions and says whether it linked. Run as:
#   cmake -DFIXTURE=<folder> -DWORK_DIR=<folder> -DHOST_LAYERS=<HostLayers.cmake>
#         -DCXX=<compiler> -P CheckLinkWall.cmake
cmake_minimum_required(VERSION 3.25)
get_filename_component(_name "${FIXTURE}" NAME)
set(_binary "${WORK_DIR}/${_name}")
file(REMOVE_RECURSE "${_binary}")
execute_process(
    COMMAND ${CMAKE_COMMAND} -S "${FIXTURE}" -B "${_binary}" -G Ninja
            -DHOST_LAYERS=${HOST_LAYERS} -DCMAKE_CXX_COMPILER=${CXX}
    RESULT_VARIABLE _configured OUTPUT_VARIABLE _output ERROR_VARIABLE _output)
if(NOT _configured EQUAL 0)
    message(FATAL_ERROR "The fixture ${_name} could not be configured:\n${_output}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build "${_binary}"
    RESULT_VARIABLE _built OUTPUT_VARIABLE _output ERROR_VARIABLE _output)
if(_built EQUAL 0)
    message(STATUS "The fixture ${_name} linked")
else()
    message(STATUS "The fixture ${_name} did not link:\n${_output}")
endif()
