# The MAPI layer above its runtime loader, over mocks of the interfaces and a runtime inside the test program.
linkwell_add_tests(linkwell_mapi_object_tests
    SOURCES
        ../support/TestRuntimeTests.cpp
        AdviseSinkImplTests.cpp
        EntryIdTests.cpp
        GuardedText.cpp GuardedText.h
        MapiMemoryTests.cpp
        MapiMessageStoreHierarchyTests.cpp
        MapiMessageStoreTests.cpp
        MapiSessionStoreTests.cpp
        MapiUtilitiesReadTests.cpp
        MapiUtilitiesSubfoldersTests.cpp
        MapiUtilitiesTests.cpp
        MapiUtilitiesWalkTests.cpp
        MsgStoreInfoTests.cpp
        NotificationSinkTests.cpp
        PropReadersTests.cpp
        PropTagArrayTests.cpp
        PropValueTests.cpp
        PropertyReadingTests.cpp
        RestrictionTests.cpp
        RowsetTests.cpp
        ValuePtrTests.cpp
    LIBRARIES linkwell_test_mapi)

# The same layer on the sandbox, which it finds by its own search.
if(TARGET LinkwellSandbox)
    linkwell_add_tests(linkwell_mapi_sandbox_tests
        SOURCES
            SandboxFolderTests.cpp
            SandboxStoreTests.cpp
        LIBRARIES linkwell_test_sandbox)
endif()
