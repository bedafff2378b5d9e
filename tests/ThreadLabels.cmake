# Read by CTest after the test executables have listed their tests: the tests in which several
# threads meet (the synchronisation layer, the worker thread with host threads calling at once, the
# root context shared between a host thread and the worker, the staging copies split over
# threads) also carry the label "threads", so that `ctest -L threads` runs them, as CI does under
# the thread sanitizer. Each takes seconds;
# a race that makes one hang fails it after two minutes.
foreach(test IN LISTS zep6_unit_tests_TESTS zep6_gl_tests_TESTS)
    if(test MATCHES "^(SyncFamilyTest\\.|StLockTest\\.|StaticListTest\\.|WorkerThread\\.|RootContextOnHostThread\\.|OperationsFromHostThreads\\.|StagingCopy\\.)")
        set_tests_properties("${test}" PROPERTIES LABELS threads TIMEOUT 120)
    endif()
endforeach()
