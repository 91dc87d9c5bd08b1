// The writer's arithmetic alone: settings text hex, 16.16 rates, the quality
// table, audio sample conversion and buffer reuse, timecode bytes, and frame
// memory layouts.
#include <CoreVideo/CVPixelFormatTypes.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "AudioSamples.h"
#include "FrameFill.h"
#include "FrameMemoryPool.h"
#include "SettingsText.h"
#include "TimecodeSample.h"

using namespace Vantor::QuickTime;

namespace {

std::vector<unsigned char> bytesOf(Handle h) {
  const auto* p = reinterpret_cast<const unsigned char*>(*h);
  return {p, p + GetHandleSize(h)};
}

}  // namespace

TEST(SettingsTextCodec, EveryByteSurvivesTheRoundTrip) {
  Handle h = NewHandle(256);
  for (int i = 0; i < 256; ++i) (*h)[i] = static_cast<char>(i);
  const std::string text = encodeSettingsText(h);
  ASSERT_EQ(text.size(), 512u);
  EXPECT_EQ(text.substr(0, 6), "000102");
  EXPECT_EQ(text.substr(508), "feff");
  Handle back = decodeSettingsText(text);
  EXPECT_EQ(bytesOf(back), bytesOf(h));
  DisposeHandle(h);
  DisposeHandle(back);
}

TEST(SettingsTextCodec, OddEmptyAndForeignDigits) {
  EXPECT_EQ(decodeSettingsText(""), nullptr);
  Handle odd = decodeSettingsText("abc");
  EXPECT_EQ(bytesOf(odd), (std::vector<unsigned char>{0xab}));
  // Upper-case 'A' counts as 65 - 48 = 17: high nibble 1, low byte OR-ed whole.
  Handle upper = decodeSettingsText("0A");
  EXPECT_EQ(bytesOf(upper), (std::vector<unsigned char>{0x11}));
  DisposeHandle(odd);
  DisposeHandle(upper);
  EXPECT_EQ(encodeSettingsText(nullptr), "");
}

TEST(FixedRates, TruncatedAndSaturated) {
  EXPECT_EQ(floatToFixedRate(29.97f), static_cast<Fixed>(29.97f * 65536.0f));
  EXPECT_EQ(floatToFixedRate(29.97f), 1964113);  // 1964113.92 truncated
  EXPECT_EQ(floatToFixedRate(12.5f), 0x000C8000);
  EXPECT_EQ(floatToFixedRate(32768.0f), 0x7FFFFFFF);
  EXPECT_EQ(floatToFixedRate(1e30f), 0x7FFFFFFF);
  EXPECT_FLOAT_EQ(fixedRateToFloat(0x000C8000), 12.5f);
}

TEST(QualityTable, IndexesLevelsAndWords) {
  const CodecQ levels[] = {0x000, 0x100, 0x200, 0x300, 0x3FF, 0x400};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(qualityIndexOf(levels[i]), i);
    EXPECT_EQ(qualityLevelAt(i), levels[i]);
  }
  EXPECT_EQ(qualityIndexOf(0x2A0), -1);
  EXPECT_EQ(qualityLevelAt(-1), codecNormalQuality);
  EXPECT_EQ(qualityLevelAt(6), codecNormalQuality);
  EXPECT_STREQ(qualityWord(0x100), "Minimum Quality");
  EXPECT_STREQ(qualityWord(0x2A0), "Normal Quality");
  EXPECT_STREQ(qualityWord(0x3FE), "High Quality");
  EXPECT_STREQ(qualityWord(0x3FF), "Maximum Quality");
  EXPECT_STREQ(qualityWord(0x400), "Lossless");
}

TEST(AudioConversion, ScaleIs40960AndHighValuesWrap) {
  EXPECT_EQ(audioSampleToInt16(0.5f), 20480);
  EXPECT_EQ(audioSampleToInt16(-0.5f), -20480);
  EXPECT_EQ(audioSampleToInt16(0.25f), 10240);
  EXPECT_EQ(audioSampleToInt16(0.0001f), 4);  // toward zero, not rounded
  EXPECT_EQ(audioSampleToInt16(-0.0001f), -4);
  EXPECT_EQ(audioSampleToInt16(0.9f), static_cast<std::int16_t>(36863 - 65536));  // 0.9f is just below 0.9
  EXPECT_EQ(audioSampleToInt16(1e20f), static_cast<std::int16_t>(-1));  // saturated to INT32_MAX, low bits kept
}

TEST(AudioConversion, BufferGrowsButIsReused) {
  char* buffer = nullptr;
  std::int32_t size = 0;
  ASSERT_TRUE(ensureAudioBuffer(buffer, size, 2048));
  char* first = buffer;
  EXPECT_EQ(size, 2048);
  ASSERT_TRUE(ensureAudioBuffer(buffer, size, 1024));
  EXPECT_EQ(buffer, first);
  EXPECT_EQ(size, 2048);
  ASSERT_TRUE(ensureAudioBuffer(buffer, size, 4096));
  EXPECT_EQ(size, 4096);
  delete[] buffer;
}

TEST(TimecodeBytes, DescriptionAndSample) {
  const auto d = timecodeDescriptionBytes(FrameRate(29.97f));
  auto at = [&](std::size_t offset) {
    std::int32_t v;
    std::memcpy(&v, d.data() + offset, 4);
    return v;
  };
  EXPECT_EQ(at(0), 38);
  EXPECT_EQ(static_cast<std::uint32_t>(at(4)), static_cast<std::uint32_t>('tmcd'));
  EXPECT_EQ(at(16), 0);
  EXPECT_EQ(at(20), 2);
  EXPECT_EQ(at(24), 30000);
  EXPECT_EQ(at(28), 1001);
  EXPECT_EQ(d[32], 30);
  EXPECT_EQ(d[33], 0);
  EXPECT_EQ(timecodeSampleBytes(86400), (std::array<std::uint8_t, 4>{0x00, 0x01, 0x51, 0x80}));
  const auto pal = timecodeDescriptionBytes(FrameRate(25.0f));
  EXPECT_EQ(pal[32], 25);
}

TEST(FrameMemory, ChannelOrderAndAlphaPerFormat) {
  // Two pixels B, G, R, A; the second row checks that rows advance.
  const float host[] = {0.0f, 0.25f, 1.0f, 0.5f, 1.0f, 0.0f, 0.0f, 1.0f,
                        0.0f, 0.0f,  0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
  std::vector<std::uint8_t> argb(16);
  fillFrameMemory(k32ARGBPixelFormat, host, false, 2, 2, 8, true, argb.data());
  EXPECT_EQ((std::vector<int>(argb.begin(), argb.begin() + 8)), (std::vector<int>{128, 255, 64, 0, 255, 0, 0, 255}));
  EXPECT_EQ(argb[8], 0);

  const std::uint8_t hostBytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
  std::vector<std::uint8_t> fromBytes(8);
  fillFrameMemory(k32ARGBPixelFormat, hostBytes, true, 2, 1, 8, true, fromBytes.data());
  EXPECT_EQ(fromBytes, (std::vector<std::uint8_t>{4, 3, 2, 1, 8, 7, 6, 5}));

  std::vector<std::uint8_t> b64a(16);
  fillFrameMemory('b64a', host, false, 2, 1, 16, true, b64a.data());
  // A = 0.5 -> 32768 (ties to even of 32767.5), big-endian; R = 1.0 -> 65535; G = 0.25 -> 16384.
  EXPECT_EQ((std::vector<int>(b64a.begin(), b64a.begin() + 8)),
            (std::vector<int>{0x80, 0x00, 0xFF, 0xFF, 0x40, 0x00, 0, 0}));

  std::vector<float> r4fl(8);
  fillFrameMemory('r4fl', host, false, 2, 1, 32, true, reinterpret_cast<std::uint8_t*>(r4fl.data()));
  EXPECT_EQ(r4fl[0], 1.0f);  // alpha is not taken from the host

  std::vector<std::uint8_t> r408(8);
  fillFrameMemory('r408', host, false, 2, 1, 8, true, r408.data());
  EXPECT_EQ(r408[0], 255);
  EXPECT_EQ(frameBytesPerRow('yuvs', 2), 0u);  // a format the writer cannot fill
}

TEST(FrameMemory, AnyBandOfRowsHasTheWholeFramesBytes) {
  // The session asks for rows in bands of its own choosing, into a buffer with
  // its own row stride; each band must be what the whole frame holds there.
  constexpr int kWidth = 37, kHeight = 11;
  std::vector<float> host(kWidth * kHeight * 4);
  for (std::size_t i = 0; i < host.size(); ++i) host[i] = static_cast<float>((i * 7919) % 1201) / 1000.0f - 0.1f;
  for (const OSType format :
       {OSType{k32ARGBPixelFormat}, OSType{'b64a'}, OSType{'2vuy'}, OSType{'r408'}, OSType{'r4fl'}}) {
    for (const bool bytes : {false, true}) {
      const std::size_t bytesPerRow = frameBytesPerRow(format, kWidth);
      std::vector<std::uint8_t> whole(bytesPerRow * kHeight, 0);
      fillFrameMemory(format, host.data(), bytes, kWidth, kHeight, bytesPerRow, true, whole.data());
      const std::size_t stride = bytesPerRow + 12;
      for (const int band : {1, 2, 4, 5}) {
        std::vector<std::uint8_t> rows(stride * band);
        for (int first = 0; first < kHeight; first += band) {
          const int count = std::min(band, kHeight - first);
          std::fill(rows.begin(), rows.end(), 0);
          fillFrameRows(format, host.data(), bytes, kWidth, kHeight, first, count, stride, true, rows.data());
          for (int r = 0; r < count; ++r)
            EXPECT_TRUE(std::equal(rows.begin() + r * stride, rows.begin() + r * stride + bytesPerRow,
                                   whole.begin() + (first + r) * bytesPerRow))
                << "format " << format << " band " << band << " row " << first + r;
        }
      }
    }
  }
}

TEST(FrameMemoryPool, BlocksAreRecycledAndOutliveTheOwner) {
  FrameMemoryPool* pool = FrameMemoryPool::create();
  void* first = pool->take(1000);
  ASSERT_NE(first, nullptr);
  FrameMemoryPool::giveBack(pool, first);
  EXPECT_EQ(pool->take(1000), first);  // the same block comes back
  void* second = pool->take(1000);
  EXPECT_NE(second, first);
  // A new frame size: a late block of the old size is not handed out again.
  void* larger = pool->take(4000);
  FrameMemoryPool::giveBack(pool, second);
  void* again = pool->take(4000);
  EXPECT_NE(again, second);
  std::memset(again, 0, 4000);  // the whole new size is usable
  // The owner goes first; the blocks still out keep the pool alive.
  pool->release();
  FrameMemoryPool::giveBack(pool, first);
  FrameMemoryPool::giveBack(pool, larger);
  FrameMemoryPool::giveBack(pool, again);
}
