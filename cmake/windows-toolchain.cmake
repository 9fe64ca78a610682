# Debian's MinGW-w64, with the threads of C++. What is built depends on nothing but Windows' own libraries, and runs here
# under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/run-under-wine")

# Windows 7 and later.
add_compile_definitions(_WIN32_WINNT=0x0601 UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# Programs are this machine's; libraries are not, but for those that are headers only, which are for every machine.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 /usr)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
