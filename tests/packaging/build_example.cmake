# Installs the build into a fresh prefix, builds examples/ against it with
# find_package(SystemAccess), checks the pkg-config file, and runs the example.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
run(${CMAKE_COMMAND} -S "${EXAMPLE_SOURCE}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/example_engine")
if(NOT run_output MATCHES "pauseAV ok, resumeAV ok, zap ok, now on Movies Three")
  message(FATAL_ERROR "unexpected example output:\n${run_output}")
endif()

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} "${prefix}/lib/pkgconfig")
  run(${PKG_CONFIG} --cflags --libs system_access)
  if(NOT run_output MATCHES "-I${prefix}/lib/pkgconfig/../../include/system_access" OR
     NOT run_output MATCHES "-lsystem_access")
    message(FATAL_ERROR "unexpected pkg-config answer: ${run_output}")
  endif()
endif()
