# For scripts/lint alone: clang reads the sources; nothing is compiled to a program.
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-clang.cmake")

set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
