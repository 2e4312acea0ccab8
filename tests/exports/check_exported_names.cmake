# cmake -DNM=... -DLIBRARY=... -DEXPECTED=... -P check_exported_names.cmake
# Fails unless the dynamic symbols that LIBRARY defines are exactly the names in EXPECTED, each of
# them a function.
execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
file(STRINGS ${EXPECTED} expected)
string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
set(found)
foreach(line IN LISTS lines)
    if(NOT line MATCHES "^([^ ]+) T ")
        message(FATAL_ERROR "not a function: ${line}")
    endif()
    list(APPEND found ${CMAKE_MATCH_1})
endforeach()
list(SORT found)
if(NOT found STREQUAL expected)
    message(FATAL_ERROR "exported: ${found}\nexpected: ${expected}")
endif()
