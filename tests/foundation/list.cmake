# Test files whose cases start threads; they also run under the tsan preset.
set(QV_THREADED_TESTS
  CUSharedPtrTest
  CUAutoLockTest
  CULogTest
  CUThreadTest
  CUEventTest
)
