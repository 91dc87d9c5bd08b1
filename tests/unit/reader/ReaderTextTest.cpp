// The reader's small conversions: four-character codes as text, the
// descriptions of unconvertible pixel formats, and 16.16 frame rates.
#include "PixelFormatNames.h"

#include <gtest/gtest.h>

namespace Vantor::QuickTime {
Fixed frameRateFixed(SInt32 timeScale, SInt32 frameDuration);
}

using namespace Vantor::QuickTime;

TEST(ReaderText, CodeStringsAreCharactersOrDecimalWithLineFeed) {
  // "avc1", "2vuy" and "32\n" are seen in the acceptance tests' stream descriptions.
  EXPECT_EQ(codeString(0), "0\n");
  EXPECT_EQ(codeString(0x00FFFFFF), "16777215\n");
  EXPECT_EQ(codeString(0x01020304), std::string("\x01\x02\x03\x04", 4));  // unprintable bytes as they are
}

TEST(ReaderText, PixelFormatDescriptions) {
  // Known formats are named in the "Unhandled pixel format" message of the pixel format tests.
  EXPECT_STREQ(pixelFormatDescription('abcd'), "Unknown format");
  const unsigned char pascal[] = {3, 'a', 'b', 'c', 'd'};
  EXPECT_EQ(pascalString(pascal), "abc");
}

TEST(ReaderText, FrameRatesInSixteenSixteen) {
  EXPECT_EQ(frameRateFixed(30000, 1001), 1964115);  // 29.97003 in single precision, truncated
  EXPECT_EQ(frameRateFixed(2997, 100), 1964115);
  EXPECT_EQ(frameRateFixed(25, 1), 25 << 16);
  EXPECT_EQ(frameRateFixed(2400, 100), 24 << 16);
  EXPECT_EQ(frameRateFixed(2400, 0), 0);                 // a zero duration does not divide
  EXPECT_EQ(frameRateFixed(0x7FFFFFFF, 1), 0x7FFFFFFF);  // saturates
}
