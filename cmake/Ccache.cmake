# Uses ccache when it is there.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    # It is to bear precompiled headers.
    set(launcher ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
    set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()
