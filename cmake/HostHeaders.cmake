# For a compile check only: offers the libraries' targets with the headers that the host's own
# packages bring, and the host's moc. Nothing that comes of it can be linked.
set(host_includes /usr/include/x86_64-linux-gnu)

find_path(HOST_QT_INCLUDES QtCore/qglobal.h REQUIRED NO_CMAKE_FIND_ROOT_PATH
          PATHS ${host_includes}/qt6)
find_program(HOST_MOC moc REQUIRED NO_CMAKE_FIND_ROOT_PATH NO_DEFAULT_PATH
             PATHS /usr/lib/qt6/libexec /usr/lib/x86_64-linux-gnu/qt6/libexec)

file(STRINGS ${HOST_QT_INCLUDES}/QtCore/qtcoreversion.h version_line REGEX "VERSION_STR")
string(REGEX MATCH "([0-9]+)\\.([0-9]+)" _ "${version_line}")
set(Qt6Core_VERSION_MAJOR ${CMAKE_MATCH_1})
set(Qt6Core_VERSION_MINOR ${CMAKE_MATCH_2})
add_executable(Qt6::moc IMPORTED)
set_target_properties(Qt6::moc PROPERTIES IMPORTED_LOCATION ${HOST_MOC})

foreach(module Core Gui Widgets Network WebSockets Concurrent)
    add_library(Qt6::${module} INTERFACE IMPORTED)
    target_include_directories(Qt6::${module} SYSTEM INTERFACE
                               ${HOST_QT_INCLUDES} ${HOST_QT_INCLUDES}/Qt${module})
endforeach()
# The host's Qt is configured for ELF; the attributes of the classes mean nothing without a link.
target_compile_options(Qt6::Core INTERFACE -Wno-attributes)

# The C libraries' headers stand beside those of glibc, which must not be seen: link each one's
# directory into a place of its own.
set(host_header_links ${CMAKE_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${host_header_links})
foreach(library libswresample libavutil)
    file(CREATE_LINK ${host_includes}/${library} ${host_header_links}/${library} SYMBOLIC)
endforeach()
file(CREATE_LINK /usr/include/hidapi ${host_header_links}/hidapi SYMBOLIC)
add_library(PkgConfig::SWRESAMPLE INTERFACE IMPORTED)
target_include_directories(PkgConfig::SWRESAMPLE SYSTEM INTERFACE ${host_header_links})
