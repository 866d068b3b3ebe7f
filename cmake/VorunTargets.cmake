# Flags that every target of the project shares, and the helpers that declare targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(WIN32)
    # Programs find the DLL beside them.
    set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
endif()

set(VORUN_C_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-align
    -Wdouble-promotion -Wformat=2 -Wundef -Werror)
# Inlined string concatenations make g++ 12 see overlapping copies where there are none (GCC bug
# 105651).
set(VORUN_CXX_WARNINGS ${VORUN_C_WARNINGS} -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
    -Wno-restrict)

add_library(vorun_flags INTERFACE)
target_compile_options(vorun_flags INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:${VORUN_CXX_WARNINGS}>
    $<$<COMPILE_LANGUAGE:C>:${VORUN_C_WARNINGS}>
    # A fused multiply-add rounds once where the layers' order of summation rounds twice.
    -ffp-contract=off)
if(CMAKE_BUILD_TYPE STREQUAL "Debug")
    target_compile_definitions(vorun_flags INTERFACE _GLIBCXX_ASSERTIONS)
endif()

if(VORUN_SANITIZE)
    list(JOIN VORUN_SANITIZE "," vorun_sanitizers)
    add_compile_options(-fsanitize=${vorun_sanitizers} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all -D_GLIBCXX_ASSERTIONS)
    add_link_options(-fsanitize=${vorun_sanitizers})
endif()

# vorun_add_test(name [LABELS label...] LIBRARIES archive... SOURCES file...)
# A GoogleTest program over the engine's internals, registered as one test. LIBRARIES are the
# subsystem archives under test, such as vorun_audio, and any helpers. The label "threads" brings a
# test into the run under the thread sanitizer.
function(vorun_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LABELS;LIBRARIES" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE vorun_flags ${ARG_LIBRARIES} vorun_test_support
                          GTest::gmock GTest::gtest_main)
    target_precompile_headers(${name} REUSE_FROM vorun_test_headers)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}")
    if("threads" IN_LIST ARG_LABELS)
        add_dependencies(vorun_thread_tests ${name})
    endif()
endfunction()

# vorun_add_api_test(name [LABELS label...] [LIBRARIES lib...] SOURCES file...)
# As vorun_add_test, but linked to the shared library alone, as a host is.
function(vorun_add_api_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LABELS;LIBRARIES" ${ARGN})
    vorun_add_test(${name} LIBRARIES VorunEngine ${ARG_LIBRARIES} SOURCES ${ARG_SOURCES}
                   LABELS ${ARG_LABELS})
endfunction()
