# cmake -P script behind the installed-package test: installs the build tree
# BUILD_DIR into a scratch prefix under WORK_DIR, builds the host example
# HOST_SOURCE_DIR against it with find_package(DsCore) and the compiler CXX
# (flags HOST_FLAGS), runs the program and compares its output with
# EXPECTED_OUTPUT_FILE. Nothing outside WORK_DIR is written.
foreach(var BUILD_DIR HOST_SOURCE_DIR WORK_DIR CXX EXPECTED_OUTPUT_FILE)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "InstallTest.cmake needs -D${var}=...")
  endif()
endforeach()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed (${rc}): ${command}\n${out}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})

set(config_args)
if(CONFIG)
  set(config_args --config ${CONFIG})
endif()
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} ${config_args})

# Only the package's own prefix: nothing of the build tree may be needed.
run(${CMAKE_COMMAND} -S ${HOST_SOURCE_DIR} -B ${WORK_DIR}/host
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_PACKAGE_NO_PACKAGE_REGISTRY=ON
  -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${HOST_FLAGS}" -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/host)

# The program's own run path points at the prefix; the libraries it pulls in
# must find theirs on their own.
execute_process(COMMAND ${WORK_DIR}/host/dscore_host RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "dscore_host failed (${rc}):\n${out}${err}")
endif()
file(READ ${EXPECTED_OUTPUT_FILE} expected)
if(NOT out STREQUAL expected)
  message(FATAL_ERROR "dscore_host printed:\n${out}\nexpected:\n${expected}")
endif()
message(STATUS "dscore_host:\n${out}")
