// qtmovie's parsers of what users type and files hold: frame rates to exact time
// bases, numbered patterns and globs, and text bytes to valid UTF-8.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Errors.h"
#include "DataRates.h"
#include "FrameRates.h"
#include "ProbeJson.h"
#include "Sequences.h"

namespace {

std::pair<int, int> rate(const std::string& text) {
  const qtmovie::ExactRate exact = qtmovie::parseFrameRate(text);
  return {exact.timeScale, exact.frameDuration};
}

std::string utf8(std::initializer_list<unsigned char> bytes) {
  const std::vector<std::uint8_t> data(bytes);
  return qtmovie::asUtf8(data);
}

}  // namespace

TEST(FrameRates, ExactTimeBasesForWholeDecimalNtscAndFractionRates) {
  EXPECT_EQ(rate("24"), std::make_pair(2400, 100));
  EXPECT_EQ(rate("12.5"), std::make_pair(1250, 100));
  EXPECT_EQ(rate("7.25"), std::make_pair(725, 100));
  EXPECT_EQ(rate("23.976"), std::make_pair(24000, 1001));
  EXPECT_EQ(rate("23.98"), std::make_pair(24000, 1001));
  EXPECT_EQ(rate("29.97"), std::make_pair(30000, 1001));
  EXPECT_EQ(rate("59.94"), std::make_pair(60000, 1001));
  EXPECT_EQ(rate("30000/1001"), std::make_pair(30000, 1001));
  EXPECT_EQ(rate("50/2"), std::make_pair(2500, 100));  // reduced, then as a whole rate
  EXPECT_EQ(rate("1000"), std::make_pair(100000, 100));
  EXPECT_EQ(qtmovie::parseFrameRate("29.97").nominal(), 30);
  EXPECT_EQ(qtmovie::parseFrameRate("25").nominal(), 25);
  EXPECT_EQ(qtmovie::parseFrameRate("12.5").nominal(), 13);
}

TEST(FrameRates, AnythingElseIsAUsageError) {
  for (const char* text :
       {"",    "0",   "0.0", "-24", "+24", "24.",    ".5",           "12.345", "1e2",         "24fps",       "1001",
        "1/0", "0/1", "/",   "24/", "/1",  "2000/1", "30000/1001/1", " 24",    "99999999999", "4294967296/1"})
    EXPECT_THROW(qtmovie::parseFrameRate(text), qtmovie::UsageError) << text;
}

TEST(DataRates, SuffixesFractionsAndPlainBitsPerSecond) {
  EXPECT_EQ(qtmovie::parseBitRate("8M"), 8000000);
  EXPECT_EQ(qtmovie::parseBitRate("2500k"), 2500000);
  EXPECT_EQ(qtmovie::parseBitRate("1.5M"), 1500000);
  EXPECT_EQ(qtmovie::parseBitRate("8000000"), 8000000);
  EXPECT_EQ(qtmovie::parseBitRate("1k"), 1000);
  EXPECT_EQ(qtmovie::parseBitRate("10G"), 10000000000);
  for (const char* text : {"", "0", "999", "-8M", "+8M", "8MB", "8 M", "M", ".5M", "8.M", "1e6", "10.1G", "8Mbps",
                           "99999999999999999999999"})
    EXPECT_THROW(qtmovie::parseBitRate(text), qtmovie::UsageError) << text;
}

TEST(Sequences, PatternsAreCheckedAndFilled) {
  EXPECT_TRUE(qtmovie::isNumberPattern("out_%04d.png"));
  EXPECT_TRUE(qtmovie::isNumberPattern("%d"));
  EXPECT_FALSE(qtmovie::isNumberPattern("out.png"));
  EXPECT_FALSE(qtmovie::isNumberPattern("100%%.png"));
  EXPECT_EQ(qtmovie::formatNumbered("out_%04d.png", 7), "out_0007.png");
  EXPECT_EQ(qtmovie::formatNumbered("out_%04d.png", 123456), "out_123456.png");
  EXPECT_EQ(qtmovie::formatNumbered("f%3d", 5), "f  5");
  EXPECT_EQ(qtmovie::formatNumbered("%d%%_%%d", 12), "12%_%d");
  // Never handed to printf: a stray conversion is refused, not interpreted.
  for (const char* bad : {"%s.png", "%n", "%d_%d.png", "%012d", "%-4d", "%.4d", "x%", "%ld"})
    EXPECT_THROW(qtmovie::isNumberPattern(bad), qtmovie::UsageError) << bad;
}

TEST(Sequences, ExpandsPatternsGlobsAndListsWithStartAndCount) {
  const std::string folder = VQT_PARTS_SCRATCH;
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  for (int n = 2; n <= 6; ++n) std::ofstream(folder + "/f_" + std::to_string(n) + ".png") << "x";
  const std::string pattern = folder + "/f_%d.png";
  auto names = [&](const std::vector<std::string>& files) {
    std::string text;
    for (const auto& file : files) text += std::filesystem::path(file).filename().string() + " ";
    return text;
  };
  EXPECT_EQ(names(qtmovie::expandInputs({pattern}, {}, {})), "f_2.png f_3.png f_4.png f_5.png f_6.png ");
  EXPECT_EQ(names(qtmovie::expandInputs({pattern}, 4, {})), "f_4.png f_5.png f_6.png ");
  EXPECT_EQ(names(qtmovie::expandInputs({pattern}, 3, 2)), "f_3.png f_4.png ");
  EXPECT_EQ(names(qtmovie::expandInputs({folder + "/f_*.png"}, 1, 3)), "f_3.png f_4.png f_5.png ");
  EXPECT_EQ(names(qtmovie::expandInputs({folder + "/f_6.png", folder + "/f_2.png"}, {}, {})), "f_6.png f_2.png ");
  EXPECT_THROW(qtmovie::expandInputs({pattern}, 7, {}), qtmovie::Failure);
  EXPECT_THROW(qtmovie::expandInputs({folder + "/g_*.png"}, {}, {}), qtmovie::Failure);
  EXPECT_THROW(qtmovie::expandInputs({folder + "/f_*.png"}, 5, {}), qtmovie::Failure);
}

TEST(Utf8, ValidTextIsKeptAndEveryOtherByteReadAsLatin1) {
  EXPECT_EQ(utf8({'a', 0xC3, 0xA9}), "a\u00e9");
  EXPECT_EQ(utf8({0xF0, 0x9F, 0x98, 0x80}), "\U0001F600");
  EXPECT_EQ(utf8({0xE9, 'x'}), "\u00e9x");                                // lone lead byte
  EXPECT_EQ(utf8({0xC3}), "\u00c3");                                      // truncated at the end
  EXPECT_EQ(utf8({0x80, 0xFF}), "\u0080\u00ff");                          // stray continuation, never-valid byte
  EXPECT_EQ(utf8({0xC0, 0xAF}), "\u00c0\u00af");                          // overlong '/'
  EXPECT_EQ(utf8({0xED, 0xA0, 0x80}), "\u00ed\u00a0\u0080");              // a surrogate
  EXPECT_EQ(utf8({0xF4, 0x90, 0x80, 0x80}), "\u00f4\u0090\u0080\u0080");  // above U+10FFFF
  EXPECT_EQ(utf8({0xE2, 0x82}), "\u00e2\u0082");
}
