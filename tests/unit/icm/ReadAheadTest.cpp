// A decompression session fed with sample bytes straight from GetMediaSample2
// reads the following samples of that media by itself: callbacks and pixels
// are those of a session given copies (which cannot read ahead), each sample
// is decoded once in display order, and a session outliving its movie neither
// reads from it nor goes wrong.
#include <gtest/gtest.h>

#include <QuickTime/Movies.h>

#include <algorithm>
#include <map>

#include "IcmTestSupport.h"

namespace vqt::icm::test {
namespace {

constexpr int kFrames = 60;

class SessionReadAhead : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string path =
        makeFixture("readahead-gop24.mov",
                    "-f lavfi -i testsrc2=size=160x120:rate=24 -frames:v 60 -pix_fmt yuv420p -c:v libx264 "
                    "-g 24 -keyint_min 24 -sc_threshold 0 -bf 3 -f mov");
    ASSERT_FALSE(path.empty());
    CFStringRef posixPath = CFStringCreateWithCString(nullptr, path.c_str(), kCFStringEncodingUTF8);
    QTNewMoviePropertyElement properties[] = {
        {kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath, sizeof(posixPath), &posixPath, 0}};
    ASSERT_EQ(NewMovieFromProperties(1, properties, 0, nullptr, &movie_), noErr);
    CFRelease(posixPath);
    media_ = GetTrackMedia(GetMovieIndTrack(movie_, 1));
    ASSERT_NE(media_, nullptr);
    description_ = reinterpret_cast<ImageDescriptionHandle>(NewHandle(0));
    std::vector<std::pair<TimeValue64, SInt64>> shown;  // display time, sample
    for (SInt64 sample = 1; sample <= kFrames; ++sample) {
      TimeValue64 decodeTime = 0, displayOffset = 0;
      SampleNumToMediaDecodeTime(media_, sample, &decodeTime, nullptr);
      MediaSampleFlags flags = 0;
      ASSERT_EQ(GetMediaSample2(media_, nullptr, 0, nullptr, decodeTime, nullptr, nullptr, &displayOffset,
                                reinterpret_cast<SampleDescriptionHandle>(description_), nullptr, 1, nullptr, &flags),
                noErr);
      decodeTimes_[sample] = decodeTime;
      if (!(flags & mediaSampleNotSync)) syncs_.push_back(sample);
      shown.emplace_back(decodeTime + displayOffset, sample);
    }
    std::sort(shown.begin(), shown.end());
    for (const auto& entry : shown) displayOrder_.push_back(entry.second);
  }
  void TearDown() override {
    if (description_) DisposeHandle(reinterpret_cast<Handle>(description_));
    if (movie_) DisposeMovie(movie_);
  }

  // The bytes of a sample as GetMediaSample2 writes them into `into`.
  void fetch(SInt64 sample, std::vector<UInt8>& into) {
    ByteCount size = 0;
    GetMediaSample2(media_, nullptr, 0, &size, decodeTimes_[sample], nullptr, nullptr, nullptr, nullptr, nullptr, 1,
                    nullptr, nullptr);
    into.resize(size);
    ASSERT_EQ(GetMediaSample2(media_, into.data(), size, nullptr, decodeTimes_[sample], nullptr, nullptr, nullptr,
                              nullptr, nullptr, 1, nullptr, nullptr),
              noErr);
  }

  // The samples from the sync sample before `target` up to it, then a flush, as a
  // movie reader asks; `copies` hands over copies of the fetched bytes.
  std::vector<TrackingCall> read(DecompressionRecorder& recorder, SInt64 target, bool copies) {
    const SInt64 sync = *std::prev(std::upper_bound(syncs_.begin(), syncs_.end(), target));
    std::vector<std::vector<UInt8>> held;
    for (SInt64 sample = sync; sample <= target; ++sample) {
      std::vector<UInt8> bytes;
      fetch(sample, bytes);
      held.push_back(copies ? std::vector<UInt8>(bytes) : std::move(bytes));
      ICMFrameTimeRecord time{};
      time.value = decodeTimes_[sample];
      time.scale = GetMediaTimeScale(media_);
      time.rate = 0x10000;
      time.recordSize = sizeof(time);
      time.frameNumber = static_cast<SInt32>(sample);
      time.flags = sample == target ? icmFrameTimeDecodeImmediately : icmFrameTimeDoNotDisplay;
      EXPECT_EQ(ICMDecompressionSessionDecodeFrame(recorder.session(), held.back().data(), held.back().size(), nullptr,
                                                   &time, reinterpret_cast<void*>(sample)),
                noErr);
    }
    recorder.calls.clear();
    ICMDecompressionSessionFlush(recorder.session());
    return recorder.calls;
  }

  static void expectSameCalls(const std::vector<TrackingCall>& a, const std::vector<TrackingCall>& b, SInt64 target) {
    ASSERT_EQ(a.size(), b.size()) << "sample " << target;
    for (std::size_t i = 0; i < a.size(); ++i) {
      EXPECT_EQ(a[i].result, b[i].result);
      EXPECT_EQ(a[i].flags, b[i].flags);
      EXPECT_EQ(a[i].refCon, b[i].refCon);
      EXPECT_EQ(a[i].hadBuffer, b[i].hadBuffer);
      EXPECT_EQ(a[i].pixels.bytes, b[i].pixels.bytes) << "sample " << target;
    }
  }

  Movie movie_ = nullptr;
  Media media_ = nullptr;
  ImageDescriptionHandle description_ = nullptr;
  std::map<SInt64, TimeValue64> decodeTimes_;
  std::vector<SInt64> syncs_;
  std::vector<SInt64> displayOrder_;
};

TEST_F(SessionReadAhead, GivesWhatACopyFedSessionGivesDecodingEachSampleOnce) {
  ASSERT_EQ(syncs_.size(), 3u);
  DecompressionRecorder ahead(description_, k2vuyPixelFormat), copied(description_, k2vuyPixelFormat);
  for (std::size_t position = 0; position < displayOrder_.size(); ++position) {
    const SInt64 target = displayOrder_[position];
    const std::vector<TrackingCall> calls = read(ahead, target, false);
    ASSERT_FALSE(calls.empty());
    EXPECT_TRUE(calls.back().hadBuffer);
    EXPECT_EQ(calls.back().refCon, reinterpret_cast<void*>(target));
    expectSameCalls(calls, read(copied, target, true), target);
    if (position == 0) {
      EXPECT_GT(VqtICMDecompressionSessionGetDecodedSampleCount(ahead.session()), 1u) << "read ahead";
    }
  }
  EXPECT_EQ(VqtICMDecompressionSessionGetDecodedSampleCount(ahead.session()), static_cast<UInt64>(kFrames));
}

TEST_F(SessionReadAhead, ADisposedMovieIsNotReadFrom) {
  DecompressionRecorder ahead(description_, k2vuyPixelFormat), copied(description_, k2vuyPixelFormat);
  // Bytes fetched now, then the movie goes: the session must not read from it.
  // Reading on from the first picture, so the session does want the next samples.
  const SInt64 target = displayOrder_[14];
  const std::vector<TrackingCall> expected = read(copied, target, true);
  std::vector<std::vector<UInt8>> bytes;
  for (SInt64 sample = 1; sample <= target; ++sample) fetch(sample, bytes.emplace_back());
  read(ahead, displayOrder_[0], false);
  DisposeMovie(movie_);
  movie_ = nullptr;
  for (SInt64 sample = 1; sample <= target; ++sample) {
    ICMFrameTimeRecord time{};
    time.recordSize = sizeof(time);
    time.frameNumber = static_cast<SInt32>(sample);
    time.flags = sample == target ? icmFrameTimeDecodeImmediately : icmFrameTimeDoNotDisplay;
    ICMDecompressionSessionDecodeFrame(ahead.session(), bytes[sample - 1].data(), bytes[sample - 1].size(), nullptr,
                                       &time, reinterpret_cast<void*>(sample));
  }
  ahead.calls.clear();
  ICMDecompressionSessionFlush(ahead.session());
  ASSERT_FALSE(ahead.calls.empty());
  EXPECT_EQ(ahead.calls.back().pixels.bytes, expected.back().pixels.bytes);
}

}  // namespace
}  // namespace vqt::icm::test
