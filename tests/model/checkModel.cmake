# Runs one check of the model: cmake -DMODEL=... -DCHECK=exclusion|progress -DALONE=0|1|2
# -DSPIN=... -DCC=... -P checkModel.cmake
set(directory ${CMAKE_CURRENT_BINARY_DIR}/model-${CHECK}-${ALONE})
file(MAKE_DIRECTORY ${directory})

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${directory}
    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE status)
  set(output "${output}" PARENT_SCOPE)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN} gave ${status}:\n${output}")
  endif()
endfunction()

if(CHECK STREQUAL "exclusion")
  run(${SPIN} -a -DWRITERS=2 -DALONE=${ALONE} ${MODEL})
  run(${CC} -O2 -w -DSAFETY -DNOCLAIM -DCOLLAPSE -o pan pan.c)
  run(./pan -m1000000)
else()
  run(${SPIN} -a -DALONE=${ALONE} ${MODEL})
  run(${CC} -O2 -w -DNFAIR=3 -DCOLLAPSE -o pan pan.c)
  run(./pan -m1000000 -a -f -N progress)
endif()
message("${output}")
# The verifier's status says nothing; what it counts and what it left out does.
if(NOT output MATCHES "errors: 0" OR output MATCHES "max search depth too small|out of memory")
  message(FATAL_ERROR "The model does not hold.")
endif()
