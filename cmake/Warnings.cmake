# Warnings for our own code. Link quorvane_warnings privately.
option(QUORVANE_WERROR "Take warnings for errors" ON)
add_library(quorvane_warnings INTERFACE)
if(MSVC)
    # The sources are UTF-8, whatever the system's code page.
    target_compile_options(quorvane_warnings INTERFACE /W4 /utf-8)
else()
    target_compile_options(quorvane_warnings INTERFACE -Wall -Wextra
                           $<$<BOOL:${QUORVANE_WERROR}>:-Werror>)
endif()
