# tavi_settings: what every target of ours is compiled with. tavi_warnings: the warnings our code is free of; never linked
# by third-party code.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(TAVI_SANITIZE "" CACHE STRING "Sanitizers for native builds, as -fsanitize takes them")
option(TAVI_FUZZ "Build the libFuzzer programs (with clang), and the libraries so that these see their branches" OFF)
# The service serves only clients whose executable is signed by this publisher (the certificate subject's common name). The
# default suits development builds, whose clients are signed with a test certificate; a release sets its own.
set(TAVI_PUBLISHER "ZENLO ORVA Test Publisher" CACHE STRING "Common name in the certificate that clients are signed with")
# Not where nobody has met the compiler's warnings yet.
if(MSVC)
    option(TAVI_WERROR "Treat warnings as errors" OFF)
else()
    option(TAVI_WERROR "Treat warnings as errors" ON)
endif()

add_library(tavi_settings INTERFACE)
target_include_directories(tavi_settings INTERFACE "${CMAKE_SOURCE_DIR}/src")
if(WIN32)
    target_compile_definitions(tavi_settings INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
endif()
if(MSVC)
    target_compile_options(tavi_settings INTERFACE /utf-8 /permissive- /Zc:__cplusplus /EHsc)
    # std::getenv is standard C++; the compiler would rather have a function of its own.
    target_compile_definitions(tavi_settings INTERFACE _CRT_SECURE_NO_WARNINGS)
    set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
endif()

add_library(tavi_warnings INTERFACE)
if(MSVC)
    target_compile_options(tavi_warnings INTERFACE /W4 $<$<BOOL:${TAVI_WERROR}>:/WX>)
else()
    target_compile_options(tavi_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
        -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wimplicit-fallthrough
        $<$<BOOL:${TAVI_WERROR}>:-Werror>)
endif()

if(TAVI_SANITIZE)
    add_compile_options(-fsanitize=${TAVI_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${TAVI_SANITIZE})
    if(TAVI_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-Wno-tsan)
    endif()
endif()

find_program(TAVI_CCACHE ccache)
if(TAVI_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${TAVI_CCACHE}")
    set(CMAKE_C_COMPILER_LAUNCHER "${TAVI_CCACHE}")
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        # Else a precompiled header never equals one that the compiler cache knows.
        add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
    endif()
endif()

if(MINGW)
    # A program needs no DLL but Windows' own; and the same sources give the same bytes, whenever they are built.
    add_link_options(-static -Wl,--no-insert-timestamp -Wl,--gc-sections)
    add_compile_options(-ffunction-sections -fdata-sections "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.")
endif()
