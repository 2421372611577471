# Test files whose cases start threads; they also run under the tsan preset.
set(QV_THREADED_TESTS
)
# Test files that compare with independent tools (ffprobe, ffmpeg, mediainfo).
set(QV_ORACLE_TESTS
  FramesOracleTest
  PlayPictureOracleTest
  PlaySoundOracleTest
)
