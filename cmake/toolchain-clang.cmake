# Clang with the headers and libraries of mingw-w64's GCC, for the same Windows.
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw-w64.cmake")

set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
# Threads and thread_local as that GCC has them; and its own headers use what they call deprecated.
set(CMAKE_CXX_FLAGS_INIT "-femulated-tls -pthread -Wno-deprecated-declarations")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld")
