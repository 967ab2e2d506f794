# One fuzz test: replay every input kept in the target's regressions folder,
# then fuzz a scratch copy of its seed corpus (and of the SEEDS files kept
# elsewhere in the tree, such as the models the simulator and the tests use)
# for SECONDS seconds.
# cmake -DFUZZER=<exe> -DCORPUS=<dir> -DREGRESSIONS=<dir> -DWORK=<dir> -DSECONDS=<n> -DOPTIONS=<list>
#       [-DSEEDS=<files>] -P run_fuzzer.cmake
foreach(variable FUZZER CORPUS REGRESSIONS WORK SECONDS)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "run_fuzzer.cmake: ${variable} is not set")
  endif()
endforeach()

# The corpus grows while fuzzing; the sources stay as they are.
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/corpus" "${WORK}/artifacts")
file(COPY "${CORPUS}/" DESTINATION "${WORK}/corpus")
if(SEEDS)
  file(COPY ${SEEDS} DESTINATION "${WORK}/corpus")
endif()

file(GLOB regressions LIST_DIRECTORIES false "${REGRESSIONS}/*")
if(regressions)
  list(LENGTH regressions count)
  message(STATUS "replaying ${count} regression input(s) from ${REGRESSIONS}")
  execute_process(COMMAND "${FUZZER}" ${OPTIONS} ${regressions} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "a regression input of ${REGRESSIONS} fails again (exit ${status})")
  endif()
endif()

execute_process(
  COMMAND "${FUZZER}" ${OPTIONS} -max_total_time=${SECONDS} -print_final_stats=1
          "-artifact_prefix=${WORK}/artifacts/" "${WORK}/corpus"
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "the fuzzer found a failing input (exit ${status}), kept in ${WORK}/artifacts/: "
                      "add it to ${REGRESSIONS}/ once it is understood")
endif()
