# QUORVANE_SANITIZE: a list for -fsanitize, empty for none. Applies to everything we build.
set(QUORVANE_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")
if(QUORVANE_SANITIZE)
    add_compile_options(-fsanitize=${QUORVANE_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QUORVANE_SANITIZE})
endif()
