# scdoc reads standard input and writes standard output: cmake -DSCDOC= -DSOURCE= -DOUTPUT= -P
execute_process(COMMAND ${SCDOC} INPUT_FILE ${SOURCE} OUTPUT_FILE ${OUTPUT} RESULT_VARIABLE failed)
if(failed)
  file(REMOVE ${OUTPUT})
  message(FATAL_ERROR "${SOURCE}: scdoc failed")
endif()
