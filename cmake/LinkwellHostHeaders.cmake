# linkwell_host_headers(<target> <folder> <package>): an interface library for a header-only package of the machine that
# builds, for example "nlohmann" of Debian's nlohmann-json3-dev. A cross compiler must not see all of that machine's
# headers, so for one the package's folder alone is linked into a folder of ours.
function(linkwell_host_headers target folder package)
    find_path(${target}_ROOT NAMES ${folder} PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH
              DOC "Folder that holds the header folder '${folder}'")
    if(NOT ${target}_ROOT)
        message(FATAL_ERROR "The header folder '${folder}' is missing. Install Debian's package '${package}' "
                            "(scripts/setup does so), or name the folder above it in ${target}_ROOT.")
    endif()
    set(root "${${target}_ROOT}")
    if(CMAKE_CROSSCOMPILING)
        set(root "${PROJECT_BINARY_DIR}/host-headers/${target}")
        file(MAKE_DIRECTORY "${root}")
        file(CREATE_LINK "${${target}_ROOT}/${folder}" "${root}/${folder}" SYMBOLIC COPY_ON_ERROR)
    endif()
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE "${root}")
endfunction()
