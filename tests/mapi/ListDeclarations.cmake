# list_declarations(<header>): writes the names of all that mapiabi and the sandbox declare of MAPI as X-macros, so that no
# constant and no method can be forgotten by the test that compares them with the toolchain's:
#   OUR_CONSTANTS(X)           X(<name>) for each constant number
#   OUR_INTERFACE_IDS(X)       X(<name>) for each IID_*
#   OUR_METHODS_<interface>(X) X(<name>) for each method that the interface adds to its base, in order
function(list_declarations header)
    set(folder "${PROJECT_SOURCE_DIR}/mapiabi")
    set(sources "${folder}/MapiTypes.h" "${folder}/MapiTags.h" "${folder}/MapiInterfaces.h"
        "${PROJECT_SOURCE_DIR}/sandbox/mailbox/model/SandboxTags.h")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${sources})

    set(constants "")
    set(ids "")
    set(methods "")
    foreach(source IN LISTS sources)
        file(STRINGS "${source}" lines REGEX "^constexpr|^inline constexpr|^struct I|STDMETHODCALLTYPE")
        foreach(line IN LISTS lines)
            if(line MATCHES "^constexpr (ULONG|LONG|BYTE|BOOKMARK|HRESULT) ([A-Za-z0-9_]+) =")
                string(APPEND constants " \\\n    X(${CMAKE_MATCH_2})")
            elseif(line MATCHES "^inline constexpr IID ([A-Za-z0-9_]+) =")
                string(APPEND ids " \\\n    X(${CMAKE_MATCH_1})")
            elseif(line MATCHES "^struct (I[A-Za-z]+) :")
                string(APPEND methods "\n\n#define OUR_METHODS_${CMAKE_MATCH_1}(X)")
            elseif(line MATCHES "STDMETHODCALLTYPE ([A-Za-z]+)\\(")
                string(APPEND methods " \\\n    X(${CMAKE_MATCH_1})")
            endif()
        endforeach()
    endforeach()
    file(CONFIGURE OUTPUT "${header}" @ONLY CONTENT
"// Made from our headers by CMake; not to be edited.
#pragma once

#define OUR_CONSTANTS(X)@constants@

#define OUR_INTERFACE_IDS(X)@ids@@methods@
")
endfunction()
