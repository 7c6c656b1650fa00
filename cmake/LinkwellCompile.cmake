if(LINKWELL_LINT) # a program, too, is an empty file: what is to be there before a source is read
    set(CMAKE_CXX_LINK_EXECUTABLE "${CMAKE_COMMAND} -E touch <TARGET>")
    set(CMAKE_CXX_CREATE_SHARED_LIBRARY "${CMAKE_COMMAND} -E touch <TARGET> <TARGET_IMPLIB>")
endif()

# linkwell_compile(<target> [<standard>]): how every target of this project is compiled: C++20, or an older standard for what
# others take into their code, without extensions, wide characters in the Windows headers, and, with GCC and clang,
# warnings as errors and no path of the build machine in what is built.
#
# Visual C++ has compiled none of this yet. So its warnings are errors only where CMAKE_COMPILE_WARNING_AS_ERROR says so;
# and it leaves the paths of sources in a program, as they stand in std::source_location, of which logs show bare names.
function(linkwell_compile target)
    set(standard 20)
    if(ARGC GREATER 1)
        set(standard ${ARGV1})
    endif()
    target_compile_features(${target} PUBLIC cxx_std_${standard})
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}")
    target_compile_definitions(${target}
        PUBLIC WIN32_LEAN_AND_MEAN NOMINMAX # headers need them, whoever includes them
        PRIVATE UNICODE _UNICODE WINVER=0x0A00 _WIN32_WINNT=0x0A00)
    if(MSVC)
        # /EHs and not /EHsc, by which the compiler takes it that nothing with C linkage throws: DispatchMessageW passes
        # the _com_error that leaves the handler of a notification (settled behaviour 58).
        target_compile_options(${target} PRIVATE /W4 /permissive- /utf-8 /Zc:__cplusplus /EHs)
        target_link_options(${target} PRIVATE /Brepro)
    else()
        target_compile_options(${target} PRIVATE
            -ffunction-sections -fdata-sections # so that the linker leaves out what nothing calls
            -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
            # The last matching map holds: file names in messages are bare names, as a compiler on Windows makes them
            # after the last backslash.
            "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/="
            "-ffile-prefix-map=${PROJECT_BINARY_DIR}/="
            "-ffile-prefix-map=${CMAKE_CURRENT_SOURCE_DIR}/=")
        if(LINKWELL_LINT)
            target_compile_options(${target} PRIVATE -Wshadow-all) # most of it Visual C++ warns of, too
        endif()
    endif()
endfunction()

# For LINKWELL_COVERAGE; the last prefix map holds, so paths are whole there.
set(linkwell_count_lines
    --coverage -O0 -fprofile-update=atomic "-fprofile-prefix-map=${PROJECT_SOURCE_DIR}/=${PROJECT_SOURCE_DIR}/")

# linkwell_compile_agent(<target>): as the others, for utilities and what is built on them: headers that nearly all their
# sources include are read once. scripts/lint reads them for each source, and so sees an include that is missing. And it
# holds that nothing of the agent runs before WinMain or after it but what is named beside the call.
function(linkwell_compile_agent target)
    linkwell_compile(${target})
    if(NOT MSVC)
        # For packaging; the program itself is stripped when it is linked. Where GCC tracks variables through optimised code,
        # its account of them differs now and then from one time to the next.
        target_compile_options(${target} PRIVATE -g -fno-var-tracking)
    endif()
    if(LINKWELL_COVERAGE) # whoever links it counts what of it runs
        target_compile_options(${target} PRIVATE ${linkwell_count_lines})
        target_link_options(${target} PUBLIC --coverage)
    endif()
    if(LINKWELL_LINT)
        target_compile_options(${target} PRIVATE -Wglobal-constructors -Wexit-time-destructors)
    elseif(target STREQUAL "linkwell_utilities")
        target_precompile_headers(${target} PRIVATE
            <windows.h> <comdef.h> <functional> <map> <memory> <optional> <string> <string_view> <vector>)
    else()
        target_precompile_headers(${target} REUSE_FROM linkwell_utilities)
    endif()
endfunction()

# linkwell_program(<target>): how a program or DLL is linked: nothing beside Windows' own modules at run time, the same
# bytes from the same sources, and the same protection and stack whatever the linker's own choice would be.
function(linkwell_program target)
    set_target_properties(${target} PROPERTIES
        RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin"
        LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
    if(MSVC)
        target_link_options(${target} PRIVATE /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /TSAWARE /STACK:0x200000)
    else()
        target_link_options(${target} PRIVATE -static -Wl,--gc-sections,--no-insert-timestamp
            $<$<AND:$<CONFIG:Release>,$<NOT:$<BOOL:$<TARGET_PROPERTY:LINKWELL_KEEPS_SYMBOLS>>>>:-s>
            -Wl,--dynamicbase,--high-entropy-va,--nxcompat,--tsaware,--stack,0x200000
            -Wl,--major-subsystem-version,5,--minor-subsystem-version,2)
    endif()
endfunction()

# linkwell_version(<target> <description>): the project's version as a resource of a program or DLL.
function(linkwell_version target description)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
        set(type VFT_APP)
        set(file "${target}.exe")
    else()
        set(type VFT_DLL)
        set(file "${target}.dll")
    endif()
    configure_file("${PROJECT_SOURCE_DIR}/cmake/Version.rc.in" "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc" @ONLY)
    target_sources(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
endfunction()
