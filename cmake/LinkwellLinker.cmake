# linkwell_link_quickly(<target>): links a test program by lld, which takes a twentieth of GNU ld's time, where lld is
# installed. Not for what is handed out, whose bytes are to be the same whether it is or not.
#
# This GCC does not know the name of lld, but it runs whatever "collect2" lies in a folder given by -B.
find_program(LINKWELL_LLD NAMES ld.lld-19 ld.lld NO_CMAKE_FIND_ROOT_PATH DOC "LLVM's linker, for test programs")

if(LINKWELL_LLD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(linkwell_linker_folder "${PROJECT_BINARY_DIR}/lld")
    file(CONFIGURE OUTPUT "${linkwell_linker_folder}/collect2" @ONLY NEWLINE_STYLE UNIX CONTENT
"#!/bin/sh
exec \"@LINKWELL_LLD@\" \"$@\"
")
    file(CHMOD "${linkwell_linker_folder}/collect2" PERMISSIONS
        OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endif()

function(linkwell_link_quickly target)
    if(linkwell_linker_folder)
        target_link_options(${target} PRIVATE "-B${linkwell_linker_folder}")
    endif()
endfunction()
