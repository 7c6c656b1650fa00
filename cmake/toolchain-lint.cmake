# For scripts/lint alone: clang reads the sources with the headers of mingw-w64's GCC; nothing is compiled to a program.
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw-w64.cmake")

set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
# thread_local as that GCC has it; and its own headers use what they call deprecated.
set(CMAKE_CXX_FLAGS_INIT "-femulated-tls -Wno-deprecated-declarations")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
