# Looks through the built library for calls that print or end the process, and names the exceptions.
#
#   cmake -D NM=nm -D LIBRARY=libvantrel.a -P quiet.cmake
cmake_minimum_required(VERSION 3.25)

# The workers of threads report what their own code threw, since nobody else can; the HTTP reader prints
# the server's answer.
set(may_print clThread.cpp.o clThreadsBase.cpp.o clThreadPool.cpp.o clStreamReaderHTTP.cpp.o)

execute_process(COMMAND ${NM} --undefined-only --demangle ${LIBRARY}
    OUTPUT_VARIABLE symbols ERROR_VARIABLE errors RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${errors}")
endif()
string(REPLACE "\n" ";" lines "${symbols}")
set(members 0)
set(faults "")
foreach(line IN LISTS lines)
    if(line MATCHES "^([A-Za-z0-9_]+\\.cpp\\.o):$")
        set(member ${CMAKE_MATCH_1})
        math(EXPR members "${members} + 1")
    elseif(line MATCHES " (abort|exit|_exit|_Exit|quick_exit)(@.*)?$")
        list(APPEND faults "${member}: ${CMAKE_MATCH_1}")
    elseif(line MATCHES " (v?f?printf|__v?f?printf_chk|puts|fputs|putchar|putc|fputc|fwrite|stdout|stderr|perror|std::cout|std::cerr|std::clog)(@.*)?$"
           AND NOT member IN_LIST may_print)
        list(APPEND faults "${member}: ${CMAKE_MATCH_1}")
    endif()
endforeach()
if(members LESS 20)
    message(FATAL_ERROR "only ${members} objects found in ${LIBRARY}")
endif()
if(faults)
    list(JOIN faults "\n  " text)
    message(FATAL_ERROR "the library prints or ends the process:\n  ${text}")
endif()
message(STATUS "${members} objects keep quiet")
