# Warnings for our own code. Link quorvane_warnings privately.
add_library(quorvane_warnings INTERFACE)
target_compile_options(quorvane_warnings INTERFACE -Wall -Wextra -Werror)
