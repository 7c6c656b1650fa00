# For scripts/lint alone: clang reads the sources; nothing is compiled to a program.
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-clang.cmake")

set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
# Names that hide others, most of which Visual C++ warns of too.
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wshadow-all")
