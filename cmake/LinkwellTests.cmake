# GoogleTest and GoogleMock from their sources, as Debian's package "googletest" installs them, and one way to make a
# test program of them.
include(LinkwellLinker)

set(LINKWELL_GOOGLETEST_DIR "/usr/src/googletest" CACHE PATH "Sources of GoogleTest and GoogleMock")
if(NOT EXISTS "${LINKWELL_GOOGLETEST_DIR}/CMakeLists.txt")
    message(FATAL_ERROR "No GoogleTest sources in '${LINKWELL_GOOGLETEST_DIR}'. Install Debian's package 'googletest' "
                        "(scripts/setup does so), name another folder in LINKWELL_GOOGLETEST_DIR, or configure with "
                        "-DLINKWELL_BUILD_TESTS=OFF.")
endif()

# Set here and not in the cache: they concern the sources below and nothing else.
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK ON)
set(CMAKE_POLICY_DEFAULT_CMP0077 NEW) # its options are these variables
set(CMAKE_WARN_DEPRECATED OFF)        # what its sources ask of CMake is older than what CMake still likes
add_subdirectory("${LINKWELL_GOOGLETEST_DIR}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
unset(CMAKE_WARN_DEPRECATED)
unset(CMAKE_POLICY_DEFAULT_CMP0077)
foreach(library gtest gmock)
    target_compile_features(${library} PUBLIC cxx_std_20)
endforeach()

# linkwell_compile_tests(<target>): as the rest of the project, but for quick building: tests are compiled more often than
# they run, and reading the headers of Windows and GoogleMock costs more than most of them.
function(linkwell_compile_tests target)
    linkwell_compile(${target})
    # Each of GoogleMock's many templates has sections of its own, more than an ordinary object file can count.
    if(MSVC)
        target_compile_options(${target} PRIVATE /bigobj)
    else()
        target_compile_options(${target} PRIVATE -Og -Wa,-mbig-obj)
        if(LINKWELL_UNITY AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            # A class of one source may well have members of its unnamed namespace.
            target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
        endif()
    endif()
    if(target STREQUAL "linkwell_test_support")
        target_precompile_headers(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support/Precompiled.h")
    else()
        target_precompile_headers(${target} REUSE_FROM linkwell_test_support)
    endif()
endfunction()

# linkwell_add_tests(<target> SOURCES <file>... [LIBRARIES <target>...] [LABELS <label>...]
#                    [ENVIRONMENT <NAME=value>...] [TIMEOUT <seconds>] [RESOURCE_LOCK <name>...])
#
# One test program, and one ctest entry for it: starting a program under Wine costs far more than most tests do, and
# GoogleTest runs single cases by --gtest_filter. Its main function is that of tests/support. Entries may run in any
# order and at the same time, so programs that serve the host's pipe by its one fixed name, CorvenaLinkwell, share
# RESOURCE_LOCK host-pipe.
function(linkwell_add_tests target)
    cmake_parse_arguments(PARSE_ARGV 1 TESTS "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT;RESOURCE_LOCK")
    if(TESTS_UNPARSED_ARGUMENTS OR NOT TESTS_SOURCES)
        message(FATAL_ERROR "linkwell_add_tests(${target}): SOURCES missing, or unknown: ${TESTS_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT TESTS_TIMEOUT)
        set(TESTS_TIMEOUT 120)
    endif()

    add_executable(${target} ${TESTS_SOURCES})
    linkwell_compile_tests(${target})
    linkwell_program(${target})
    linkwell_link_quickly(${target})
    if(NOT MSVC)
        target_link_options(${target} PRIVATE -mconsole)
    endif()
    target_link_libraries(${target} PRIVATE linkwell_test_support ${TESTS_LIBRARIES})

    # CMake puts CMAKE_CROSSCOMPILING_EMULATOR in front of the program.
    add_test(NAME ${target} COMMAND ${target})
    set_tests_properties(${target} PROPERTIES TIMEOUT ${TESTS_TIMEOUT})
    foreach(property LABELS ENVIRONMENT RESOURCE_LOCK)
        if(TESTS_${property})
            set_tests_properties(${target} PROPERTIES ${property} "${TESTS_${property}}")
        endif()
    endforeach()
    if(LINKWELL_CHECKED) # takes its time
        set_tests_properties(${target} PROPERTIES TIMEOUT 1800 ENVIRONMENT_MODIFICATION LINKWELL_TEST_SECONDS=set:900)
    endif()
endfunction()

# linkwell_leave_out(<program> <tests> <reason>): tests of linkwell_add_tests, as --gtest_filter takes them, that hold only for
# a program as it is delivered. A build with LINKWELL_CHECKED does not run them; ctest names them there, with the reason, as
# not run.
function(linkwell_leave_out program tests reason)
    if(LINKWELL_CHECKED)
        add_test(NAME "${program} ${tests}: ${reason}" COMMAND ${program})
        set_tests_properties("${program} ${tests}: ${reason}" PROPERTIES DISABLED ON)
        set_property(TEST ${program} APPEND PROPERTY ENVIRONMENT_MODIFICATION "LINKWELL_LEFT_OUT=string_append::${tests}")
    endif()
endfunction()

# linkwell_add_full_tests(<part> <test> [FILTER <tests>] [COMMAND <program> <argument>... WORKING_DIRECTORY <folder>]
#                         [ENVIRONMENT <NAME=value>...] [TIMEOUT <seconds>])
#
# A second ctest entry for the program of linkwell_add_tests above it, or for the command of another test, that only this
# part of "scripts/test --full" runs: with its large amounts, which are in ENVIRONMENT, and the limit for that. FILTER
# chooses of the program's tests as --gtest_filter does; fuzz is the suites named ...FuzzTest, for two minutes each test. In
# the environment is also LINKWELL_FIGURES, the file that the entry appends its rows to, for the tables of docs/testing.md:
# {"table":"fault sweep","row":{"Points":1234,"Runs":4321}}.
set(LINKWELL_FULL_PARTS sweep fuzz long)
function(linkwell_add_full_tests part test)
    cmake_parse_arguments(PARSE_ARGV 2 FULL "" "FILTER;TIMEOUT;WORKING_DIRECTORY" "COMMAND;ENVIRONMENT")
    if(FULL_UNPARSED_ARGUMENTS OR NOT part IN_LIST LINKWELL_FULL_PARTS)
        message(FATAL_ERROR "linkwell_add_full_tests(${part} ${test}): no such part, or unknown: ${FULL_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT FULL_COMMAND)
        set(FULL_COMMAND ${test})
    endif()
    if(NOT FULL_TIMEOUT)
        set(FULL_TIMEOUT 7200)
    endif()
    if(part STREQUAL fuzz)
        set(FULL_FILTER *FuzzTest.*)
        list(APPEND FULL_ENVIRONMENT LINKWELL_FUZZ_SECONDS=120)
    elseif(NOT FULL_FILTER)
        set(FULL_FILTER *)
    endif()
    if(NOT FULL_WORKING_DIRECTORY)
        set(FULL_WORKING_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}")
    endif()

    set(entry ${test}_${part})
    while(TEST ${entry})
        string(APPEND entry +)
    endwhile()
    add_test(NAME ${entry} CONFIGURATIONS Full COMMAND ${FULL_COMMAND} WORKING_DIRECTORY "${FULL_WORKING_DIRECTORY}")
    get_test_property(${test} ENVIRONMENT environment)
    get_test_property(${test} RESOURCE_LOCK lock)
    if(NOT environment)
        set(environment "")
    endif()
    set_tests_properties(${entry} PROPERTIES
        LABELS full-${part}
        TIMEOUT ${FULL_TIMEOUT}
        ENVIRONMENT "${environment};LINKWELL_TEST_SECONDS=${FULL_TIMEOUT};GTEST_FILTER=${FULL_FILTER};LINKWELL_FIGURES=${PROJECT_BINARY_DIR}/full/${part}/${entry}.jsonl;${FULL_ENVIRONMENT}")
    if(lock)
        set_tests_properties(${entry} PROPERTIES RESOURCE_LOCK "${lock}")
    endif()
endfunction()
