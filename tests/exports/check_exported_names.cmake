# cmake -DNM=... -DLIBRARY=... -DHEADER=... -P check_exported_names.cmake
# Fails unless the dynamic symbols that LIBRARY defines are exactly the 18 functions that HEADER
# declares.
execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE " T [0-9a-f]+ [0-9a-f]*\n" ";" found "${symbols}")
file(READ ${HEADER} header)
string(REGEX MATCHALL "orvx_proxy_[A-Za-z]+\\(" expected "${header}")
string(REPLACE "(" "" expected "${expected}")
list(REMOVE_ITEM found "")
list(SORT found)
list(SORT expected)
list(LENGTH expected count)
if(NOT count EQUAL 18 OR NOT found STREQUAL expected)
    message(FATAL_ERROR "exported: ${found}\nexpected: ${expected}")
endif()
