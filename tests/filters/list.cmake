# Test files whose cases start threads; they also run under the tsan preset.
set(QV_THREADED_TESTS
  ParserPlaybackTest
  ParserLatenessTest
  SeekStormTest
  ParserDamageTest
  SampleQueueTest
  PipelineWorkerTest
  DecodeFilterTest
  ConvertFilterTest
  MovieResizeFilterTest
  TimecodeRendererTest
  AudioPinTest
  SoundFiltersTest
)
# Test files that compare with independent tools.
set(QV_ORACLE_TESTS
  DecodeFilterTest
)
