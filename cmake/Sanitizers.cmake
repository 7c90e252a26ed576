# QUORVANE_SANITIZE: a list for -fsanitize, empty for none. Applies to everything we build.
set(QUORVANE_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")
if(QUORVANE_SANITIZE)
    # Undefined behaviour would only be told of, and the program go on to its good exit code.
    add_compile_options(-fsanitize=${QUORVANE_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QUORVANE_SANITIZE})
endif()
