# For a build on Linux with MinGW: the libraries that the scripts in scripts/windows/ have built, and
# Wine to run what comes of it. A Qt for Windows of one's own goes before, in CMAKE_PREFIX_PATH.
set(windows_scripts ${PROJECT_SOURCE_DIR}/scripts/windows)

# windows_library(folder script): the folder that the script fills.
function(windows_library folder script)
    execute_process(COMMAND ${windows_scripts}/${script} --folder OUTPUT_VARIABLE found
                    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT IS_DIRECTORY ${found})
        message(FATAL_ERROR "What ${script} makes is missing (${found}). Run: scripts/windows/${script}")
    endif()
    set(${folder} ${found} PARENT_SCOPE)
endfunction()

windows_library(libraries_folder build-libraries.sh)
list(APPEND CMAKE_FIND_ROOT_PATH ${libraries_folder} ${CMAKE_PREFIX_PATH})
set(ENV{PKG_CONFIG_LIBDIR} ${libraries_folder}/lib/pkgconfig)
if(NOT QUORVANE_PROGRAM)
    windows_library(qt_folder build-qt.sh)
    list(APPEND CMAKE_FIND_ROOT_PATH ${qt_folder})
    list(APPEND CMAKE_PREFIX_PATH ${qt_folder})
endif()
list(APPEND CMAKE_PREFIX_PATH ${libraries_folder})

# Qt's tools are the host's; another Qt than the host's brings its own.
if(NOT QT_HOST_PATH)
    set(QT_HOST_PATH /usr)
    set(QT_HOST_PATH_CMAKE_DIR /usr/lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu/cmake)
endif()

# Wine, with the folders of the DLLs.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libstdc++-6.dll
                OUTPUT_VARIABLE compiler_dll OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libwinpthread-1.dll
                OUTPUT_VARIABLE threads_dll OUTPUT_STRIP_TRAILING_WHITESPACE)
foreach(dll ${compiler_dll} ${threads_dll})
    cmake_path(GET dll PARENT_PATH folder)
    file(REAL_PATH ${folder} folder)
    list(APPEND dll_folders ${folder})
endforeach()
foreach(prefix ${CMAKE_PREFIX_PATH})
    list(APPEND dll_folders ${prefix}/bin)
endforeach()
set(wine_prefix ${CMAKE_BINARY_DIR}/wine)
set(CMAKE_CROSSCOMPILING_EMULATOR ${windows_scripts}/wine.sh ${wine_prefix} ${dll_folders} --)
