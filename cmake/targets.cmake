# The functions that every CMakeLists.txt below uses to declare its targets.

# What ./build delivers, and what ./test builds of each kind.
add_custom_target(tavi_shipped)
add_custom_target(tavi_thread_tests)
add_custom_target(tavi_benchmarks)
add_custom_target(tavi_fuzzers)

# tavi_library(name SOURCES ... DEPENDS ...): one target per folder of src/, linked along the allowed arrows only.
function(tavi_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
    if(ARG_SOURCES)
        add_library(${name} STATIC ${ARG_SOURCES})
        target_link_libraries(${name} PUBLIC tavi_settings ${ARG_DEPENDS} PRIVATE tavi_warnings)
        if(TAVI_FUZZ)
            target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
        endif()
    else()
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE tavi_settings ${ARG_DEPENDS})
    endif()
endfunction()

# tavi_quick_to_build(target): for code that is compiled often and runs briefly.
function(tavi_quick_to_build target)
    if(MSVC)
        return()
    endif()
    target_compile_options(${target} PRIVATE -O0 -g1)
endfunction()

# Where recordings of real journals lie, which are not part of the repository; what needs one that is not there is skipped.
set(TAVI_RECORDED_JOURNALS "${CMAKE_SOURCE_DIR}/../shared/data" CACHE PATH "Folder with recorded journals, for tests")

# tavi_test(name SOURCES ... DEPENDS ... [LABELS ...] [TIMEOUT seconds] [RECORDED_JOURNALS]): a GoogleTest program, run by
# ctest as one test. RECORDED_JOURNALS: it looks for them in the folder TAVI_RECORDED_JOURNALS (defined only where it is
# asked for: a definition that differs per clone costs the compiler cache its hits). Label it `threads` when threads meet
# in it (it then also runs under ThreadSanitizer), `e2e` when it drives the shipped programs (it then runs alone).
function(tavi_test name)
    cmake_parse_arguments(ARG "RECORDED_JOURNALS" "TIMEOUT" "SOURCES;DEPENDS;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 600)  # several times what any takes where several presets are tested at once
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
    if(ARG_RECORDED_JOURNALS)
        target_compile_definitions(${name} PRIVATE TAVI_RECORDED_JOURNALS="${TAVI_RECORDED_JOURNALS}")
    endif()
    tavi_quick_to_build(${name})
    target_link_libraries(${name} PRIVATE tavi_warnings ${ARG_DEPENDS} GTest::gmock_main)
    target_precompile_headers(${name} REUSE_FROM tavi_test_headers)
    # A precompiled header that does not fit is no error: the headers are read then.
    set_target_properties(${name} PROPERTIES PCH_WARN_INVALID OFF)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT})
    if("threads" IN_LIST ARG_LABELS)
        add_dependencies(tavi_thread_tests ${name})
    endif()
endfunction()

# tavi_fuzzer(name SOURCES ... DEPENDS ...): a libFuzzer program. As a test it runs for TAVI_FUZZ_SECONDS from the inputs
# in fuzz/corpus/<name>, if there are any, and keeps what it finds in the build folder.
set(TAVI_FUZZ_SECONDS 10 CACHE STRING "How long each fuzzer runs as a test")
function(tavi_fuzzer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
    target_link_libraries(${name} PRIVATE tavi_warnings ${ARG_DEPENDS})
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set(found "${CMAKE_BINARY_DIR}/fuzz-corpus/${name}")
    file(MAKE_DIRECTORY "${found}")
    set(seeds "${CMAKE_SOURCE_DIR}/fuzz/corpus/${name}")
    if(NOT EXISTS "${seeds}")
        set(seeds)
    endif()
    add_test(NAME ${name} COMMAND ${name} -max_total_time=${TAVI_FUZZ_SECONDS} -timeout=10 -rss_limit_mb=2048
        -print_final_stats=1 "-artifact_prefix=${found}-" "${found}" ${seeds})
    math(EXPR limit "${TAVI_FUZZ_SECONDS} + 120")
    set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT ${limit})
    add_dependencies(tavi_fuzzers ${name})
endfunction()

# tavi_version_resource(target description): gives a Windows program the product's version resource.
function(tavi_version_resource target description)
    if(NOT WIN32)
        return()
    endif()
    string(REPLACE "." "," TAVI_VERSION_COMMAS "${PROJECT_VERSION}")
    set(TAVI_FILE_DESCRIPTION "${description}")
    set(TAVI_FILE_NAME "${target}")
    set(resource "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
    configure_file("${CMAKE_SOURCE_DIR}/cmake/version.rc.in" "${resource}" @ONLY)
    target_sources(${target} PRIVATE "${resource}")
endfunction()

# tavi_ship(target description): a program that users get. ./build collects these.
function(tavi_ship target description)
    tavi_version_resource(${target} "${description}")
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/shipped")
    add_dependencies(tavi_shipped ${target})
endfunction()
