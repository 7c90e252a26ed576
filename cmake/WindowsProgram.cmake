# How a Windows program of ours is made and packed.
enable_language(RC)

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

# quorvane_windows_package(target): CPack makes a zip of it with the DLLs that it needs beside it;
# the system's own, which are found nowhere on another system, stay out.
function(quorvane_windows_package target)
    set(tool)
    if(MINGW)
        set(tool "set(CMAKE_GET_RUNTIME_DEPENDENCIES_PLATFORM windows+pe)
            set(CMAKE_GET_RUNTIME_DEPENDENCIES_TOOL objdump)
            set(CMAKE_GET_RUNTIME_DEPENDENCIES_COMMAND \"${CMAKE_OBJDUMP}\")")
    endif()
    install(TARGETS ${target} RUNTIME DESTINATION .)
    # Those of CMake's own targets are known; the search for the others takes all names for lower
    # case, and would miss them where that matters.
    install(FILES $<TARGET_RUNTIME_DLLS:${target}> DESTINATION .)
    install(CODE "${tool}
        set(known \"$<TARGET_RUNTIME_DLLS:${target}>\")
        set(folders \"${dll_folders}\")
        file(GET_RUNTIME_DEPENDENCIES EXECUTABLES \"$<TARGET_FILE:${target}>\" LIBRARIES \${known}
             DIRECTORIES \${folders}
             PRE_EXCLUDE_REGEXES ^api-ms- ^ext-ms-
             POST_EXCLUDE_REGEXES [Ss]ystem32
             RESOLVED_DEPENDENCIES_VAR ours
             UNRESOLVED_DEPENDENCIES_VAR others)
        message(STATUS \"Left to the system: \${others}\")
        file(INSTALL \${ours} DESTINATION \"\${CMAKE_INSTALL_PREFIX}\")")
endfunction()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows)
