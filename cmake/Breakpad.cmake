# quorvane_breakpad: the client of the crash capture library, from the cache that
# scripts/breakpad.sh fills.
set(breakpad_script ${PROJECT_SOURCE_DIR}/scripts/breakpad.sh)
execute_process(COMMAND ${CMAKE_COMMAND} -E env CXX=${CMAKE_CXX_COMPILER} bash ${breakpad_script} --folders
                OUTPUT_VARIABLE breakpad_folders COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" breakpad_folders "${breakpad_folders}")
list(GET breakpad_folders 0 breakpad_sources)
list(GET breakpad_folders 1 QUORVANE_BREAKPAD_FOLDER)

# requires FILE GROUP: ends the configuration when the script has not made the file.
function(breakpad_requires file group)
    if(NOT EXISTS ${file})
        message(FATAL_ERROR "Breakpad is missing (${file}). Run: scripts/breakpad.sh ${group}")
    endif()
endfunction()

if(WIN32)
    # Built here: the script's compiler is the host's.
    breakpad_requires(${breakpad_sources}/src source)
    set(kind STATIC)
    if(QUORVANE_COMPILE_CHECK)
        set(kind OBJECT)
    endif()
    add_library(quorvane_breakpad ${kind}
        ${breakpad_sources}/src/client/windows/crash_generation/crash_generation_client.cc
        ${breakpad_sources}/src/client/windows/crash_generation/minidump_generator.cc
        ${breakpad_sources}/src/client/windows/handler/exception_handler.cc
        ${breakpad_sources}/src/common/windows/guid_string.cc
        ${breakpad_sources}/src/common/windows/string_utils.cc)
    target_compile_definitions(quorvane_breakpad PRIVATE UNICODE _UNICODE)
    target_compile_options(quorvane_breakpad PRIVATE -w)
    target_link_libraries(quorvane_breakpad PUBLIC rpcrt4)
    set_target_properties(quorvane_breakpad PROPERTIES AUTOMOC OFF)
    target_include_directories(quorvane_breakpad SYSTEM PUBLIC ${breakpad_sources}/src)
else()
    breakpad_requires(${QUORVANE_BREAKPAD_FOLDER}/libbreakpad_client.a client)
    find_package(Threads REQUIRED)
    add_library(quorvane_breakpad INTERFACE)
    target_include_directories(quorvane_breakpad SYSTEM INTERFACE ${breakpad_sources}/src)
    target_link_libraries(quorvane_breakpad INTERFACE
        ${QUORVANE_BREAKPAD_FOLDER}/libbreakpad_client.a Threads::Threads)
endif()
