# Cross-builds for Windows x64 with MinGW-w64. The posix thread model brings std::thread. Third-party libraries come from
# the cache folder that scripts/build_windows_dependencies.sh fills.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(DEFINED ENV{TAVI_CACHE})
    set(TAVI_CACHE_DIR "$ENV{TAVI_CACHE}")
else()
    set(TAVI_CACHE_DIR "$ENV{HOME}/.cache/tavi-lumbra")
endif()
set(CMAKE_FIND_ROOT_PATH "${TAVI_CACHE_DIR}/windows" /usr/x86_64-w64-mingw32)
set(CMAKE_PREFIX_PATH "${TAVI_CACHE_DIR}/windows")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)
