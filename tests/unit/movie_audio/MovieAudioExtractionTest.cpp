// Movie audio extraction on movies made by the ffmpeg CLI: the default output
// format, the mix of two tracks at different rates with an edit, interleaved
// and non-interleaved buffers, sample-accurate positioning, the end of the
// stream, and a movie without sound.
#include <QuickTime/MovieAudioExtraction.h>
#include <QuickTime/Movies.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

namespace {

constexpr double kMixRate = 48000.0;
constexpr UInt32 kMixFrames = 72000;  // the delayed track ends at 1.5 s

class MovieAudioExtraction : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_EQ(EnterMovies(), noErr); }

  void open(const char* name) {
    const std::string path = std::string(VQT_MOVIE_AUDIO_FIXTURES) + "/" + name;
    CFStringRef text = CFStringCreateWithCString(nullptr, path.c_str(), kCFStringEncodingUTF8);
    QTNewMoviePropertyElement location{kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath,
                                       sizeof(text), &text, 0};
    NewMovieFromProperties(1, &location, 0, nullptr, &movie_);
    CFRelease(text);
    ASSERT_NE(movie_, nullptr) << path;
    ASSERT_EQ(MovieAudioExtractionBegin(movie_, 0, &session_), noErr);
  }

  void TearDown() override {
    if (session_) MovieAudioExtractionEnd(session_);
    if (movie_) DisposeMovie(movie_);
  }

  AudioStreamBasicDescription format() {
    AudioStreamBasicDescription asbd{};
    EXPECT_EQ(MovieAudioExtractionGetProperty(session_, kQTPropertyClass_MovieAudioExtraction_Audio,
                                              kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription,
                                              sizeof(asbd), &asbd, nullptr),
              noErr);
    return asbd;
  }

  void makeInterleaved() {
    AudioStreamBasicDescription asbd = format();
    asbd.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    asbd.mBytesPerFrame = asbd.mBytesPerPacket = 4 * asbd.mChannelsPerFrame;
    ASSERT_EQ(MovieAudioExtractionSetProperty(session_, kQTPropertyClass_MovieAudioExtraction_Audio,
                                              kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription,
                                              sizeof(asbd), &asbd),
              noErr);
  }

  OSStatus seek(SInt64 value, TimeScale scale) {
    TimeRecord time{};
    time.value.lo = static_cast<UInt32>(value);
    time.value.hi = static_cast<SInt32>(value >> 32);
    time.scale = scale;
    return MovieAudioExtractionSetProperty(session_, kQTPropertyClass_MovieAudioExtraction_Movie,
                                           kQTMovieAudioExtractionMoviePropertyID_CurrentTime, sizeof(time), &time);
  }

  // Interleaved stereo frames from the current position.
  std::vector<float> fill(UInt32 frames, UInt32* flags = nullptr) {
    std::vector<float> samples(2 * static_cast<size_t>(frames));
    AudioBufferList list{};
    list.mNumberBuffers = 1;
    list.mBuffers[0] = {2, static_cast<UInt32>(samples.size() * 4), samples.data()};
    UInt32 count = frames, outFlags = 0;
    EXPECT_EQ(MovieAudioExtractionFillBuffer(session_, &count, &list, &outFlags), noErr);
    EXPECT_EQ(list.mBuffers[0].mDataByteSize, count * 8);
    if (flags) *flags = outFlags;
    samples.resize(2 * static_cast<size_t>(count));
    return samples;
  }

  Movie movie_ = nullptr;
  MovieAudioExtractionRef session_ = nullptr;
};

double firstTrack(UInt32 frame) {  // stereo from mono: -3 dB each side, 16-bit
  return std::sin(2.0 * std::numbers::pi * 1000.0 * frame / kMixRate) / 8.0 / std::numbers::sqrt2;
}
double secondTrack(UInt32 frame) {  // mono to both sides at full level, from 0.5 s
  return std::sin(2.0 * std::numbers::pi * 1500.0 * (frame / kMixRate - 0.5)) / 8.0;
}

TEST_F(MovieAudioExtraction, DefaultIsFloatNonInterleavedAtTheHighestRateAndMostChannels) {
  open("two-tracks.mov");
  const AudioStreamBasicDescription asbd = format();
  EXPECT_EQ(asbd.mSampleRate, kMixRate);
  EXPECT_EQ(asbd.mChannelsPerFrame, 2u);
  EXPECT_EQ(asbd.mFormatID, kAudioFormatLinearPCM);
  EXPECT_EQ(
      asbd.mFormatFlags & (kAudioFormatFlagIsFloat | kAudioFormatFlagIsNonInterleaved | kAudioFormatFlagIsBigEndian),
      kAudioFormatFlagIsFloat | kAudioFormatFlagIsNonInterleaved);
  EXPECT_EQ(asbd.mBitsPerChannel, 32u);
  EXPECT_EQ(asbd.mBytesPerFrame, 4u);
  EXPECT_EQ(asbd.mFramesPerPacket, 1u);
}

TEST_F(MovieAudioExtraction, MixesBothTracksWhereTheirEditsPlaceThem) {
  open("two-tracks.mov");
  makeInterleaved();
  UInt32 flags = 0;
  const std::vector<float> mix = fill(kMixFrames + 1000, &flags);
  ASSERT_EQ(mix.size(), 2u * kMixFrames);
  EXPECT_EQ(flags, kQTMovieAudioExtractionComplete);
  double onlyFirst = 0.0, both = 0.0, onlySecond = 0.0;
  for (UInt32 f = 0; f < kMixFrames; ++f) {
    EXPECT_EQ(mix[2 * f], mix[2 * f + 1]) << f;
    // Where a tone starts or stops abruptly, the resampler's filter rings for
    // a few dozen frames on either side; those frames are left out.
    if ((f > 23900 && f < 24100) || (f > 47900 && f < 48100)) continue;
    double expected = 0.0;
    double* worst = nullptr;
    if (f < 24000) {
      expected = firstTrack(f), worst = &onlyFirst;
    } else if (f < 48000) {
      expected = firstTrack(f) + secondTrack(f), worst = &both;
    } else {
      expected = secondTrack(f), worst = &onlySecond;
    }
    *worst = std::max(*worst, std::fabs(mix[2 * f] - expected));
  }
  EXPECT_LT(onlyFirst, 1e-4);  // the delayed track adds nothing before its edit
  EXPECT_LT(both, 5e-4);       // 44.1 kHz resampled to 48 kHz
  EXPECT_LT(onlySecond, 5e-4);
}

TEST_F(MovieAudioExtraction, NonInterleavedBuffersHoldTheSameSamples) {
  open("two-tracks.mov");
  std::vector<float> left(1000), right(1000);
  std::vector<char> storage(sizeof(AudioBufferList) + sizeof(AudioBuffer));
  auto* list = reinterpret_cast<AudioBufferList*>(storage.data());
  list->mNumberBuffers = 2;
  list->mBuffers[0] = {1, 4000, left.data()};
  list->mBuffers[1] = {1, 4000, right.data()};
  ASSERT_EQ(seek(23500, 48000), noErr);
  UInt32 frames = 1000, flags = 0;
  ASSERT_EQ(MovieAudioExtractionFillBuffer(session_, &frames, list, &flags), noErr);
  ASSERT_EQ(frames, 1000u);
  EXPECT_EQ(flags, 0u);
  makeInterleaved();
  ASSERT_EQ(seek(23500, 48000), noErr);
  const std::vector<float> mix = fill(1000);
  for (size_t f = 0; f < 1000; ++f) {
    ASSERT_EQ(left[f], mix[2 * f]) << f;
    ASSERT_EQ(right[f], mix[2 * f + 1]) << f;
  }
}

TEST_F(MovieAudioExtraction, PositioningIsSampleAccurateInAnyTimeScale) {
  open("two-tracks.mov");
  makeInterleaved();
  const std::vector<float> whole = fill(kMixFrames);
  for (UInt32 start : {0u, 1u, 23999u, 24000u, 24001u, 47999u, 60001u, 71900u}) {
    ASSERT_EQ(seek(start, 48000), noErr);
    const std::vector<float> part = fill(100);
    ASSERT_EQ(part.size(), 200u);
    for (size_t i = 0; i < part.size(); ++i) ASSERT_EQ(part[i], whole[2 * start + i]) << start << " " << i;
  }
  // 300/600 s is frame 24000; the position reads back in the mix rate.
  ASSERT_EQ(seek(300, 600), noErr);
  TimeRecord now{};
  ASSERT_EQ(
      MovieAudioExtractionGetProperty(session_, kQTPropertyClass_MovieAudioExtraction_Movie,
                                      kQTMovieAudioExtractionMoviePropertyID_CurrentTime, sizeof(now), &now, nullptr),
      noErr);
  EXPECT_EQ(now.value.lo, 24000u);
  EXPECT_EQ(now.scale, 48000);
  EXPECT_EQ(fill(1)[0], whole[2 * 24000]);
}

TEST_F(MovieAudioExtraction, EndGivesShortCountsAndTheCompletionFlag) {
  open("two-tracks.mov");
  makeInterleaved();
  ASSERT_EQ(seek(kMixFrames - 10, 48000), noErr);
  UInt32 flags = 0;
  EXPECT_EQ(fill(100, &flags).size(), 20u);
  EXPECT_EQ(flags, kQTMovieAudioExtractionComplete);
  EXPECT_TRUE(fill(100, &flags).empty());
  EXPECT_EQ(flags, kQTMovieAudioExtractionComplete);
  ASSERT_EQ(seek(kMixFrames - 200, 48000), noErr);
  EXPECT_EQ(fill(100, &flags).size(), 200u);
  EXPECT_EQ(flags, 0u);
}

TEST_F(MovieAudioExtraction, FloatPcmPassesThroughUnchanged) {
  open("stereo-float.mov");
  makeInterleaved();
  const std::vector<float> samples = fill(48000);
  ASSERT_EQ(samples.size(), 96000u);
  // The CLI's own decode of the same track, bit for bit.
  const std::string command = std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -i " + VQT_MOVIE_AUDIO_FIXTURES +
                              "/stereo-float.mov -f f32le -";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::vector<float> theirs(96000);
  const size_t got = fread(theirs.data(), sizeof(float), theirs.size(), pipe);
  pclose(pipe);
  ASSERT_EQ(got, theirs.size());
  for (size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], theirs[i]) << i;
}

TEST_F(MovieAudioExtraction, UnsupportedRequestsAreRefused) {
  open("two-tracks.mov");
  AudioStreamBasicDescription asbd = format();
  asbd.mFormatFlags = kAudioFormatFlagIsSignedInteger;
  asbd.mBitsPerChannel = 16;
  EXPECT_NE(MovieAudioExtractionSetProperty(session_, kQTPropertyClass_MovieAudioExtraction_Audio,
                                            kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription,
                                            sizeof(asbd), &asbd),
            noErr);
  EXPECT_EQ(format().mBitsPerChannel, 32u);  // unchanged
  EXPECT_EQ(seek(10, 0), paramErr);
  UInt32 value = 0;
  EXPECT_EQ(MovieAudioExtractionGetProperty(session_, kQTPropertyClass_MovieAudioExtraction_Audio, 'zzzz',
                                            sizeof(value), &value, nullptr),
            kQTPropertyNotSupportedErr);
  EXPECT_EQ(MovieAudioExtractionGetProperty(session_, kQTPropertyClass_MovieAudioExtraction_Audio,
                                            kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription, 8,
                                            &value, nullptr),
            kQTPropertyBadValueSizeErr);
}

TEST_F(MovieAudioExtraction, MovieWithoutSoundDescribesNoChannelsAndDeliversNothing) {
  open("no-sound.mov");
  EXPECT_EQ(format().mChannelsPerFrame, 0u);
  UInt32 flags = 0;
  EXPECT_TRUE(fill(100, &flags).empty());
  EXPECT_EQ(flags, kQTMovieAudioExtractionComplete);
}

}  // namespace
