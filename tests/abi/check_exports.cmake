# SPDX-License-Identifier: MIT
# Holds three lists against each other: the dynamic symbols of LIBRARY (by NM), the names in LIST, and the
# names that the headers in HEADERS mark BXD_API. Any name that is in one and not in another is an error.

execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY}
    OUTPUT_VARIABLE table COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" lines "${table}")
set(exported "")
foreach(line IN LISTS lines)
    string(REGEX REPLACE " .*" "" name "${line}")
    if(NOT name MATCHES "^__odr_asan")
        list(APPEND exported "${name}")
    endif()
endforeach()

file(STRINGS ${LIST} listed REGEX "^[^#]")

set(declared "")
file(GLOB headers ${HEADERS}/*.h)
foreach(header IN LISTS headers)
    file(READ ${header} text)
    string(REGEX REPLACE "#define BXD_API[^\n]*" "" text "${text}")
    # What ends a name: a constant's size, or the end of a variable. Left as they are they would make lists.
    string(REGEX REPLACE "[[;]" "(" text "${text}")
    string(REGEX MATCHALL "BXD_API[ \n][^(]*[(]" declarations "${text}")
    foreach(declaration IN LISTS declarations)
        string(REGEX MATCH "([A-Za-z0-9_]+) *[(]$" unused "${declaration}")
        list(APPEND declared "${CMAKE_MATCH_1}")
    endforeach()
endforeach()

set(faults "")
function(report_missing text wanted there)
    set(missing ${${wanted}})
    list(REMOVE_ITEM missing ${${there}})
    if(missing)
        list(JOIN missing " " names)
        set(faults "${faults}${text}: ${names}\n" PARENT_SCOPE)
    endif()
endfunction()
report_missing("exported, but not in the list" exported listed)
report_missing("in the list, but not exported" listed exported)
report_missing("marked BXD_API, but not in the list" declared listed)
report_missing("in the list, but not marked BXD_API" listed declared)

list(LENGTH listed count)
if(count LESS 1 OR faults)
    message(FATAL_ERROR "${faults}${count} names in ${LIST}")
endif()
message(STATUS "${count} exported names agree")
