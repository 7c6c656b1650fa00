# The contact model and the sync engine.
linkwell_add_tests(linkwell_sync_tests
    SOURCES
        ContactFixture.h
        ContactLoadingTests.cpp
        ContactWatcherContactTests.cpp
        ContactWatcherFailureTests.cpp
        ContactWatcherFilterTests.cpp
        ContactWatcherFixture.cpp ContactWatcherFixture.h
        ContactWatcherFolderTests.cpp
        ContactWatcherSubscribeTests.cpp
        ContactWatcherTests.cpp
        EmailAddressTests.cpp
        EntryIdHashTests.cpp
        HostPipe.h
        KnownFoldersTests.cpp
        LogWatch.h
        MailboxMocks.cpp MailboxMocks.h
        OutlookContactTests.cpp
        SyncFaultTests.cpp
        SyncItemTests.cpp
        SyncManagerSnapshotTests.cpp
        SyncManagerStoresTests.cpp
        SyncManagerTests.cpp
        SyncSequenceTests.cpp
    LIBRARIES linkwell_agent linkwell_test_mapi
    RESOURCE_LOCK host-pipe)

if(TARGET LinkwellSandbox)
    target_sources(linkwell_sync_tests PRIVATE SandboxSyncTests.cpp)
    target_link_libraries(linkwell_sync_tests PRIVATE linkwell_test_sandbox)
endif()
