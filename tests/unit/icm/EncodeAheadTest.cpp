// The compression session's encoding thread: the samples, their timing and
// flags are those of a session that encodes on the caller's thread; client
// callbacks stay on the caller's thread; a frame's error reaches the caller.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "IcmTestSupport.h"

namespace vqt::icm::test {
namespace {

struct Encoding {
  std::vector<CollectedFrame> frames;  // decode order
  std::vector<OSStatus> encodeResults;
  OSStatus completeResult = noErr;
  int callbacksOffCallerThread = 0;
  std::vector<UInt32> tracking;  // flags, in the order the frames were given
  std::thread::id caller = std::this_thread::get_id();
  OSStatus failFrom = noErr;  // the output callback's result from the first frame on
};

OSStatus keep(void* refCon, ICMCompressionSessionRef, OSStatus error, ICMEncodedFrameRef frame, void*) {
  auto* run = static_cast<Encoding*>(refCon);
  if (std::this_thread::get_id() != run->caller) ++run->callbacksOffCallerThread;
  if (error != noErr) return error;
  const UInt8* data = ICMEncodedFrameGetDataPtr(frame);
  run->frames.push_back({std::vector<UInt8>(data, data + ICMEncodedFrameGetDataSize(frame)),
                         ICMEncodedFrameGetDecodeTimeStamp(frame), ICMEncodedFrameGetDecodeDuration(frame),
                         ICMEncodedFrameGetDisplayTimeStamp(frame), ICMEncodedFrameGetDisplayOffset(frame),
                         ICMEncodedFrameGetMediaSampleFlags(frame)});
  return run->failFrom;
}

void track(void* refCon, UInt32 flags, void*, void*) {
  auto* run = static_cast<Encoding*>(refCon);
  if (std::this_thread::get_id() != run->caller) ++run->callbacksOffCallerThread;
  run->tracking.push_back(flags);
}

// Encodes `frames` at the given display times through one session.
Encoding encode(CodecType codec, bool ahead, const std::vector<TestImage>& frames, std::vector<TimeValue64> times = {},
                OSStatus failFrom = noErr) {
  Encoding run;
  run.failFrom = failFrom;
  ICMCompressionSessionOptionsRef options = nullptr;
  EXPECT_EQ(ICMCompressionSessionOptionsCreate(nullptr, &options), noErr);
  ICMCompressionSessionOptionsSetAllowTemporalCompression(options, true);
  ICMCompressionSessionOptionsSetAllowFrameReordering(options, true);
  ICMCompressionSessionOptionsSetMaxKeyFrameInterval(options, 6);
  const Boolean encodeAhead = ahead;
  EXPECT_EQ(ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                                    kICMCompressionSessionOptionsPropertyID_EncodeAhead,
                                                    sizeof encodeAhead, &encodeAhead),
            noErr);
  ICMEncodedFrameOutputRecord record{keep, &run, nullptr};
  ICMCompressionSessionRef session = nullptr;
  EXPECT_EQ(ICMCompressionSessionCreate(nullptr, frames.at(0).width, frames.at(0).height, codec, 2400, options, nullptr,
                                        &record, &session),
            noErr);
  ICMCompressionSessionOptionsRelease(options);
  if (session == nullptr) return run;
  ICMSourceTrackingCallbackRecord tracking{track, &run};
  for (std::size_t i = 0; i < frames.size(); ++i) {
    CVPixelBufferRef buffer = pixelBufferFrom(frames[i]);
    const TimeValue64 time = i < times.size() ? times[i] : static_cast<TimeValue64>(i) * 100;
    run.encodeResults.push_back(ICMCompressionSessionEncodeFrame(
        session, buffer, time, 100, kICMValidTime_DisplayTimeStampIsValid | kICMValidTime_DisplayDurationIsValid,
        nullptr, &tracking, nullptr));
    CVPixelBufferRelease(buffer);
  }
  run.completeResult = ICMCompressionSessionCompleteFrames(session, true, 0, 0);
  ICMCompressionSessionRelease(session);
  return run;
}

std::vector<TestImage> moving(int count, std::uint32_t format) {
  std::vector<TestImage> frames;
  for (int i = 0; i < count; ++i) {
    const TestImage argb = makeArgbPattern(96, 64, i);
    frames.push_back(format == 32 ? argb : argbToYCbCr(argb, format));
  }
  return frames;
}

TEST(EncodeAhead, GivesTheSamplesOfAnEncodingOnTheCallersThread) {
  // Intra (ProRes from floats), long-GOP with B-frames (x264's own threads),
  // and RGB (PNG): every sample, time and flag the same.
  for (auto [codec, format] :
       {std::pair{CodecType{'apch'}, std::uint32_t{'r4fl'}}, std::pair{CodecType{'avc1'}, std::uint32_t{'r408'}},
        std::pair{CodecType{'png '}, std::uint32_t{32}}}) {
    const std::vector<TestImage> frames = moving(14, format);
    const Encoding plain = encode(codec, false, frames);
    const Encoding ahead = encode(codec, true, frames);
    ASSERT_EQ(plain.frames.size(), frames.size());
    ASSERT_EQ(ahead.frames.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
      EXPECT_EQ(ahead.frames[i].data, plain.frames[i].data) << "sample " << i;
      EXPECT_EQ(ahead.frames[i].decodeTime, plain.frames[i].decodeTime);
      EXPECT_EQ(ahead.frames[i].decodeDuration, plain.frames[i].decodeDuration);
      EXPECT_EQ(ahead.frames[i].displayOffset, plain.frames[i].displayOffset);
      EXPECT_EQ(ahead.frames[i].flags, plain.frames[i].flags);
    }
    EXPECT_EQ(ahead.encodeResults, std::vector<OSStatus>(frames.size(), noErr));
    EXPECT_EQ(ahead.completeResult, noErr);
    EXPECT_EQ(ahead.callbacksOffCallerThread, 0);
    // Every source buffer is tracked once, encoded, in order.
    const UInt32 encoded =
        kICMSourceTracking_LastCall | kICMSourceTracking_ReleasedPixelBuffer | kICMSourceTracking_FrameWasEncoded;
    EXPECT_EQ(ahead.tracking, std::vector<UInt32>(frames.size(), encoded));
    EXPECT_EQ(ahead.tracking, plain.tracking);
  }
}

TEST(EncodeAhead, AFramesEncodingErrorReachesTheCaller) {
  // MPEG-4 refuses a display time that does not move on: the third frame fails.
  const std::vector<TestImage> frames = moving(5, 'r408');
  const std::vector<TimeValue64> times{0, 100, 100, 200, 300};
  const Encoding plain = encode('mp4v', false, frames, times);
  ASSERT_EQ(plain.encodeResults.size(), 5u);
  const OSStatus failure = plain.encodeResults[2];
  ASSERT_NE(failure, noErr);

  // Encoded a frame behind, the failure comes back from the next call, which
  // then refuses its own frame; later frames go on as they would.
  const Encoding ahead = encode('mp4v', true, frames, times);
  EXPECT_EQ(ahead.encodeResults, (std::vector<OSStatus>{noErr, noErr, noErr, failure, noErr}));
  EXPECT_EQ(ahead.callbacksOffCallerThread, 0);
  ASSERT_EQ(ahead.tracking.size(), 5u);
  EXPECT_TRUE(ahead.tracking[2] & kICMSourceTracking_FrameWasDropped);
  EXPECT_TRUE(ahead.tracking[3] & kICMSourceTracking_FrameWasDropped);

  // The last frame's failure comes back from completing the frames.
  const std::vector<TimeValue64> lastFails{0, 100, 200, 300, 300};
  const Encoding atEnd = encode('mp4v', true, frames, lastFails);
  EXPECT_EQ(atEnd.encodeResults, std::vector<OSStatus>(5, noErr));
  EXPECT_EQ(atEnd.completeResult, failure);
}

TEST(EncodeAhead, TheOutputCallbacksErrorReachesTheCaller) {
  // A callback that fails (as a full disk fails AddMediaSample2) is answered
  // by the call that delivered the sample, at the latest by completing the
  // frames (when samples come out depends on the codec's frame threads).
  const std::vector<TestImage> frames = moving(3, 32);
  for (const bool ahead : {false, true}) {
    const Encoding run = encode('png ', ahead, frames, {}, dskFulErr);
    std::vector<OSStatus> results = run.encodeResults;
    results.push_back(run.completeResult);
    EXPECT_NE(std::find(results.begin(), results.end(), dskFulErr), results.end())
        << (ahead ? "ahead" : "on the caller's thread");
    EXPECT_EQ(run.frames.size(), frames.size());
  }
}

}  // namespace
}  // namespace vqt::icm::test
