# Test files whose cases start threads; they also run under the tsan preset.
set(QV_THREADED_TESTS
  MemAllocatorTest
  ReferenceClockTest
  WindowMessagesTest
  NamedMutexTest
  SourceStreamTest
  BaseRendererTest
  FilterGraphTest
  TransformFilterTest
  OutputQueueTest
)
# Test files that compare with independent tools.
set(QV_ORACLE_TESTS
)
