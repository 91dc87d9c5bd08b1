// A decompression session fed with samples GetMediaSample2 just handed out
// reads the following samples of that media by itself: callbacks and pixels
// are those of a session on a thread where the Movie Toolbox offered nothing
// (which cannot read ahead), each sample is decoded once in display order,
// other orders cost no more than decoding from the sync sample, and a session
// outliving its movie neither reads from it nor goes wrong.
#include <gtest/gtest.h>

#include <QuickTime/Movies.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <thread>

#include "IcmTestSupport.h"

namespace vqt::icm::test {
namespace {

constexpr int kFrames = 60;

class SessionReadAhead : public ::testing::Test {
 protected:
  explicit SessionReadAhead(int gop = 24) : gop_(gop) {}

  void SetUp() override {
    const std::string g = std::to_string(gop_);
    const std::string path =
        makeFixture("readahead-gop" + g + ".mov",
                    "-f lavfi -i testsrc2=size=160x120:rate=24 -frames:v 60 -pix_fmt yuv420p -c:v libx264 -g " + g +
                        " -keyint_min " + g + " -sc_threshold 0 -bf 3 -f mov");
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
      fetch(sample, bytes_[sample]);
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

  SInt64 syncBefore(SInt64 target) const { return *std::prev(std::upper_bound(syncs_.begin(), syncs_.end(), target)); }

  // The samples from the sync sample before `target` up to it, then a flush, as a
  // movie reader asks. `copies` hands over bytes read earlier, on a thread of
  // its own, so that the session is offered no source.
  std::vector<TrackingCall> read(DecompressionRecorder& recorder, SInt64 target, bool copies) {
    if (copies) {
      std::vector<TrackingCall> calls;
      std::thread([&] { calls = decode(recorder, target, true); }).join();
      return calls;
    }
    return decode(recorder, target, false);
  }
  std::vector<TrackingCall> decode(DecompressionRecorder& recorder, SInt64 target, bool copies) {
    std::vector<std::vector<UInt8>> held;
    for (SInt64 sample = syncBefore(target); sample <= target; ++sample) {
      if (copies) {
        held.push_back(bytes_[sample]);
      } else {
        fetch(sample, held.emplace_back());
      }
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
  std::map<SInt64, std::vector<UInt8>> bytes_;
  int gop_;
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

// One group of pictures over the whole movie, so that a session that cannot
// continue where it left off pays for every earlier frame again.
class LongGopReadAhead : public SessionReadAhead {
 protected:
  LongGopReadAhead() : SessionReadAhead(kFrames) {}

  // Decodes per requested frame, reading the frames in `order`; each request
  // must also give the picture a session without a source gives.
  std::vector<UInt64> decodesPerFrame(const std::vector<SInt64>& order) {
    DecompressionRecorder ahead(description_, k2vuyPixelFormat), copied(description_, k2vuyPixelFormat);
    std::vector<UInt64> costs;
    UInt64 before = 0;
    for (const SInt64 target : order) {
      const std::vector<TrackingCall> calls = read(ahead, target, false);
      const std::vector<TrackingCall> expected = read(copied, target, true);
      EXPECT_FALSE(calls.empty());
      EXPECT_FALSE(expected.empty());
      if (calls.empty() || expected.empty()) break;
      EXPECT_EQ(calls.back().pixels.bytes, expected.back().pixels.bytes) << "sample " << target;
      const UInt64 after = VqtICMDecompressionSessionGetDecodedSampleCount(ahead.session());
      costs.push_back(after - before);
      before = after;
    }
    return costs;
  }
};

TEST_F(LongGopReadAhead, InOrderDecodesEachFrameOnceAndOtherOrdersNoMoreThanFromTheSyncSample) {
  ASSERT_EQ(syncs_.size(), 1u);
  const std::vector<UInt64> inOrder = decodesPerFrame(displayOrder_);
  UInt64 total = 0;
  for (const UInt64 cost : inOrder) total += cost;
  EXPECT_EQ(total, static_cast<UInt64>(kFrames));
  EXPECT_GT(inOrder.front(), 1u) << "the first request reads ahead";

  // Going backwards or jumping about reads nothing ahead that is not needed:
  // a request costs at most its samples from the sync sample. Only the first
  // request and one for a sync sample's own picture, either of which may be
  // the start of reading in order, read ahead (at most a dozen samples).
  constexpr UInt64 kFirstReadAhead = 12;
  std::vector<SInt64> reversed(displayOrder_.rbegin(), displayOrder_.rend());
  std::vector<SInt64> jumping;
  for (int i = 0; i < kFrames; ++i) jumping.push_back(displayOrder_[(i * 37 + 11) % kFrames]);
  for (const std::vector<SInt64>* order : {&reversed, &jumping}) {
    const std::vector<UInt64> costs = decodesPerFrame(*order);
    ASSERT_EQ(costs.size(), order->size());
    for (std::size_t i = 0; i < costs.size(); ++i) {
      const SInt64 target = (*order)[i];
      const auto fromSync = static_cast<UInt64>(target - syncBefore(target) + 1);
      EXPECT_LE(costs[i], fromSync + (i == 0 || fromSync == 1 ? kFirstReadAhead : 0)) << "sample " << target;
    }
  }
}

// Once every picture of the group has come out, a session with the picture
// cache answers reverse and jumping requests without decoding anything, with
// the pixels of a session whose cache is turned off.
TEST_F(LongGopReadAhead, AfterOneVisitReverseAndRandomOrdersDecodeNothingNew) {
  DecompressionRecorder ahead(description_, k2vuyPixelFormat);
  setenv("VANTOR_QUICKTIME_PICTURE_CACHE_MB", "0", 1);
  DecompressionRecorder uncached(description_, k2vuyPixelFormat);
  unsetenv("VANTOR_QUICKTIME_PICTURE_CACHE_MB");
  for (const SInt64 target : displayOrder_) read(ahead, target, false);
  const UInt64 visited = VqtICMDecompressionSessionGetDecodedSampleCount(ahead.session());
  EXPECT_EQ(visited, static_cast<UInt64>(kFrames));

  std::vector<SInt64> order(displayOrder_.rbegin(), displayOrder_.rend());
  for (int i = 0; i < kFrames; ++i) order.push_back(displayOrder_[(i * 37 + 11) % kFrames]);
  for (const SInt64 target : order) {
    const std::vector<TrackingCall> calls = read(ahead, target, false);
    const std::vector<TrackingCall> expected = read(uncached, target, true);
    ASSERT_FALSE(calls.empty());
    expectSameCalls(calls, expected, target);
  }
  EXPECT_EQ(VqtICMDecompressionSessionGetDecodedSampleCount(ahead.session()), visited);
  // The session without a cache paid for its requests from the sync sample.
  EXPECT_GT(VqtICMDecompressionSessionGetDecodedSampleCount(uncached.session()), static_cast<UInt64>(4 * kFrames));
}

}  // namespace
}  // namespace vqt::icm::test
