# gainloop_scalar: the gain loop's own source compiled without vectorisation, under the name
# applyGainScalar, as the yardstick of its test and its benchmark.
if(NOT TARGET gainloop_scalar)
    add_library(gainloop_scalar OBJECT ${PROJECT_SOURCE_DIR}/engines/gainloop.cpp)
    target_include_directories(gainloop_scalar PRIVATE ${PROJECT_SOURCE_DIR})
    target_compile_definitions(gainloop_scalar PRIVATE applyGain=applyGainScalar)
    target_compile_options(gainloop_scalar PRIVATE -O3 -fno-tree-vectorize)
    set_target_properties(gainloop_scalar PROPERTIES AUTOMOC OFF)
endif()
