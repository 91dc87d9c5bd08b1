#include <Carbon/Components.h>
#include <gtest/gtest.h>
#include <strings.h>

#include <cstring>
#include <memory>
#include <string>

#include "QuickTimeCodecPrivate.h"

using Vantor::QuickTime::QuickTimeCodecPrivate;

namespace {

void registerCompressor(OSType type, const char* name) {
  VqtComponentRegistration r;
  r.description = {'imco', type, 'test', 0, 0};
  r.name = name;
  r.information = std::string(name) + " information";
  VqtRegisterComponent(r);
}

std::string nameOf(const char* text) { return std::strchr(text, '\t') + 1; }

}  // namespace

TEST(QuickTimeCodecPrivate, StartsWithTheDocumentedDefaults) {
  QuickTimeCodecPrivate state;
  EXPECT_EQ(state.codecType, OSType('apcn'));
  EXPECT_EQ(state.width, 512);
  EXPECT_EQ(state.height, 256);
  EXPECT_EQ(state.channels, 4);
  EXPECT_EQ(state.spatialQuality, 0x200u);
  EXPECT_EQ(state.frameRate, 0x00180000);
  EXPECT_EQ(state.timeScale, 2400);
  EXPECT_EQ(state.frameDuration, 100);
  EXPECT_EQ(state.keyFrameRate, 1);
  EXPECT_EQ(state.audioSampleRate, 48000);
  EXPECT_EQ(state.audioChannels, 1);
  EXPECT_TRUE(state.swapB64a);
  EXPECT_NE(state.port, nullptr);
}

TEST(QuickTimeCodecPrivate, CatalogueIsSortedIgnoringCaseAndEndsWithNull) {
  registerCompressor('zzz1', "zulu codec");
  registerCompressor('aaa1', "Alpha codec");
  registerCompressor('aaa2', "alpha Codec");
  registerCompressor('bbb1', "beta codec");
  registerCompressor('lng1', "a name of exactly thirty-one ch");  // fills its Str31
  QuickTimeCodecPrivate state;
  const int count = state.codecCount();
  ASSERT_GE(count, 5);
  ASSERT_EQ(state.codecNames.size(), size_t(count) + 1);
  EXPECT_EQ(state.codecNames.back(), nullptr);
  for (int i = 0; i + 1 < count; ++i)
    EXPECT_LE(strcasecmp(nameOf(state.codecNames[i]).c_str(), nameOf(state.codecNames[i + 1]).c_str()), 0)
        << state.codecNames[i] << " / " << state.codecNames[i + 1];
  bool sawLong = false;
  for (int i = 0; i < count; ++i) {
    const std::string text = state.codecNames[i];
    // Each text is the four characters of the type, a tab, then the type name.
    ASSERT_EQ(text[4], '\t');
    const OSType type =
        (OSType(UInt8(text[0])) << 24) | (UInt8(text[1]) << 16) | (UInt8(text[2]) << 8) | UInt8(text[3]);
    EXPECT_EQ(type, state.codecTypeAt(i));
    if (type == 'lng1') {
      sawLong = true;
      EXPECT_EQ(nameOf(text.c_str()), "a name of exactly thirty-one ch");
    }
  }
  EXPECT_TRUE(sawLong);
}

TEST(QuickTimeCodecPrivate, SessionsNest) {
  auto first = std::make_unique<QuickTimeCodecPrivate>();
  {
    QuickTimeCodecPrivate second;
    EXPECT_EQ(second.codecCount(), first->codecCount());
  }
  // The first object's session and catalogue outlive the second's.
  EXPECT_NE(first->codecNames.front(), nullptr);
}
