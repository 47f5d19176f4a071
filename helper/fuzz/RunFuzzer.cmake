# Runs the fuzz target for a bounded time over a scratch corpus seeded with valid messages.
file(MAKE_DIRECTORY ${CORPUS})
execute_process(
    COMMAND ${FUZZER} -max_total_time=${SECONDS} -max_len=4096 -timeout=10
        -print_final_stats=1 ${CORPUS} ${SEEDS}
    RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "the fuzz target failed (${result}); its crash input is in the working folder")
endif()
