# SPDX-License-Identifier: MIT
# Warnings, sanitizers and the compiler cache, for all of the project's own targets.

find_program(BXD_CCACHE ccache)
mark_as_advanced(BXD_CCACHE)
if(BXD_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_C_COMPILER_LAUNCHER ${BXD_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${BXD_CCACHE})
endif()

if(BXD_SANITIZE)
    add_compile_options(-fsanitize=${BXD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${BXD_SANITIZE})
endif()

set(BXD_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)

# For the library, which uses nothing of the standard library that allocates.
function(bxd_library_settings target)
    target_compile_options(${target} PRIVATE ${BXD_WARNINGS})
endfunction()

# For all else. GCC 12 reports faults that are not there in its own string and vector, once it has inlined
# them.
function(bxd_settings target)
    target_compile_options(${target} PRIVATE ${BXD_WARNINGS})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        target_compile_options(${target} PRIVATE -Wno-restrict -Wno-array-bounds -Wno-stringop-overflow
                               -Wno-stringop-overread)
    endif()
endfunction()
