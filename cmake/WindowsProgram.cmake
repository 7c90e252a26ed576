# How a Windows program of ours is made and packed.
enable_language(RC)

# Where the DLLs are that no target of CMake's tells of: on Windows itself, where a program that is
# started finds them.
if(NOT CMAKE_CROSSCOMPILING)
    cmake_path(CONVERT "$ENV{PATH}" TO_CMAKE_PATH_LIST dll_folders NORMALIZE)
endif()

# The version that Windows, and Qt there, tell of the program; the manifest stands in it too.
string(REPLACE "." "," version_numbers ${PROJECT_VERSION})
set(windows_resource ${PROJECT_BINARY_DIR}/resource/quorvane.rc)
configure_file(${PROJECT_SOURCE_DIR}/app/quorvane.rc.in ${windows_resource} @ONLY)
set(windows_manifest ${PROJECT_BINARY_DIR}/resource/quorvane.manifest)
configure_file(${PROJECT_SOURCE_DIR}/app/quorvane.manifest.in ${windows_manifest} @ONLY)

# quorvane_windows_program(target): gives it the resource, and no console.
function(quorvane_windows_program target)
    target_sources(${target} PRIVATE ${windows_resource})
    # The resource's compiler tells nobody what else it has read.
    set_source_files_properties(${windows_resource} PROPERTIES OBJECT_DEPENDS ${windows_manifest})
    set_target_properties(${target} PROPERTIES WIN32_EXECUTABLE ON)
    target_link_options(${target} PRIVATE $<$<CXX_COMPILER_ID:MSVC>:/MANIFEST:NO>)
endfunction()

# quorvane_windows_package(target [folder plugin]...): CPack makes a zip of it with the DLLs that it
# needs beside it, and Qt's plugins, which Qt loads by itself, in their folders. The system's own DLLs
# stay out: on another system they are found nowhere, on Windows in its folders.
function(quorvane_windows_package target)
    set(plugins)
    list(LENGTH ARGN length)
    while(length GREATER 0)
        list(POP_FRONT ARGN folder plugin)
        if(TARGET ${plugin})
            install(FILES $<TARGET_FILE:${plugin}> DESTINATION ${folder})
            list(APPEND plugins $<TARGET_FILE:${plugin}>)
        endif()
        list(LENGTH ARGN length)
    endwhile()
    set(tool)
    if(MINGW)
        set(tool "set(CMAKE_GET_RUNTIME_DEPENDENCIES_PLATFORM windows+pe)
            set(CMAKE_GET_RUNTIME_DEPENDENCIES_TOOL objdump)
            set(CMAKE_GET_RUNTIME_DEPENDENCIES_COMMAND \"${CMAKE_OBJDUMP}\")")
    endif()
    install(TARGETS ${target} RUNTIME DESTINATION .)
    # Those of Microsoft's compiler, which stand among the system's where it is installed; of others,
    # none.
    set(CMAKE_INSTALL_SYSTEM_RUNTIME_DESTINATION .)
    include(InstallRequiredSystemLibraries)
    # Those of CMake's own targets are known; the search for the others takes all names for lower
    # case, and would miss them where that matters.
    install(FILES $<TARGET_RUNTIME_DLLS:${target}> DESTINATION .)
    install(CODE "${tool}
        set(known \"$<TARGET_RUNTIME_DLLS:${target}>;${plugins}\")
        set(folders \"${dll_folders}\")
        file(GET_RUNTIME_DEPENDENCIES EXECUTABLES \"$<TARGET_FILE:${target}>\" LIBRARIES \${known}
             DIRECTORIES \${folders}
             PRE_EXCLUDE_REGEXES ^api-ms- ^ext-ms-
             POST_EXCLUDE_REGEXES ^[A-Za-z]:/[Ww][Ii][Nn][Dd][Oo][Ww][Ss]/
             RESOLVED_DEPENDENCIES_VAR ours
             UNRESOLVED_DEPENDENCIES_VAR others)
        if(others AND CMAKE_HOST_WIN32)
            message(FATAL_ERROR \"Not found: \${others}\")
        endif()
        message(STATUS \"Left to the system: \${others}\")
        file(INSTALL \${ours} DESTINATION \"\${CMAKE_INSTALL_PREFIX}\")")
endfunction()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows)
