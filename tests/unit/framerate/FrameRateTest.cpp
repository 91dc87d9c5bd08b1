// FrameRate: recognising NTSC rates from floats and time bases, and converting back.
#include <vantor/quicktime/FrameRate.h>

#include <bit>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace Vantor::QuickTime {
namespace {

void expectRate(FrameRate rate, std::uint32_t nominal, bool ntsc) {
  EXPECT_EQ(rate.nominal(), nominal);
  EXPECT_EQ(rate.isNtsc(), ntsc);
}

TEST(FrameRate, Ntsc30FromEveryForm) {
  for (const FrameRate rate : {FrameRate(29.97f), FrameRate(30000, 1001), FrameRate(2997, 100)}) {
    expectRate(rate, 30, true);
    EXPECT_EQ(rate.raw(), 0x8000001Eu);
    EXPECT_EQ(rate.timeScale(), 30000);
    EXPECT_EQ(rate.frameDuration(), 1001);
  }
}

TEST(FrameRate, NtscFloatRates) {
  expectRate(FrameRate(59.94f), 60, true);
  expectRate(FrameRate(23.976f), 24, true);
  expectRate(FrameRate(23.98f), 24, true);
  expectRate(FrameRate(23.97f), 24, true);
  expectRate(FrameRate(29.965f), 30, true);  // rounds to 2997
  expectRate(FrameRate(29.96f), 29, false);
  expectRate(FrameRate(24.0f), 24, false);
  expectRate(FrameRate(30.0f), 30, false);
}

TEST(FrameRate, OtherFloatRatesKeepTheirWholePart) {
  expectRate(FrameRate(25.0f), 25, false);
  expectRate(FrameRate(12.5f), 12, false);
  expectRate(FrameRate(29.5f), 29, false);
  expectRate(FrameRate(0.0f), 0, false);
  expectRate(FrameRate(0.004f), 0, false);
  expectRate(FrameRate(119.999f), 120, false);   // 11999.9 rounds to 12000
  expectRate(FrameRate(1e9f), 21474836, false);  // saturates instead of overflowing
  expectRate(FrameRate(std::numeric_limits<float>::quiet_NaN()), 0, false);
}

TEST(FrameRate, NegativeRatesRoundAwayFromZeroAndWrapUnsigned) {
  // -1 -> n = -100 -> 0xFFFFFF9C / 100; -0.005 -> n = -1 (rounded away from zero).
  expectRate(FrameRate(-1.0f), 0xFFFFFF9Cu / 100u, false);
  expectRate(FrameRate(-0.006f), 0xFFFFFFFFu / 100u, false);
  expectRate(FrameRate(-0.004f), 0, false);
  expectRate(FrameRate(-29.97f), 0xFFFFF44Bu / 100u, false);  // not NTSC
  expectRate(FrameRate(-1e10f), 0x80000000u / 100u, false);
}

TEST(FrameRate, TimeBaseForms) {
  expectRate(FrameRate(24000, 1001), 24, true);
  expectRate(FrameRate(60000, 1001), 60, true);
  expectRate(FrameRate(23976, 1000), 24, true);
  expectRate(FrameRate(5994, 100), 60, true);
  expectRate(FrameRate(2997, 125), 24, true);
  expectRate(FrameRate(2397, 100), 24, true);
  expectRate(FrameRate(2398, 100), 24, true);
  expectRate(FrameRate(30000, 1000), 30, false);
  expectRate(FrameRate(2400, 100), 24, false);
  expectRate(FrameRate(600, 20), 30, false);
  expectRate(FrameRate(25, 2), 12, false);
  expectRate(FrameRate(23976, 999), 24, false);
  expectRate(FrameRate(2997, 101), 29, false);
}

TEST(FrameRate, ZeroOrNegativeDurationNeverDivides) {
  expectRate(FrameRate(30000, 0), 0, false);
  expectRate(FrameRate(0, 0), 0, false);
  expectRate(FrameRate(-1, 0), 0, false);
  expectRate(FrameRate(3000, -100), 0, false);  // divides by 0xFFFFFF9C
  expectRate(FrameRate(-1, 1001), 0xFFFFFFFFu / 1001u + 1u, true);
}

TEST(FrameRate, TimeBaseOutput) {
  struct Case {
    FrameRate rate;
    std::int32_t scale;
    std::int32_t duration;
  };
  for (const Case& c : {Case{FrameRate(59.94f), 60000, 1001}, Case{FrameRate(23.976f), 23976, 1000},
                        Case{FrameRate(24.0f), 2400, 100}, Case{FrameRate(25.0f), 2500, 100},
                        Case{FrameRate(25000, 1001), 2500, 100},  // NTSC 25 has no time base of its own
                        Case{FrameRate(0.0f), 0, 100}, Case{FrameRate(30000, 0), 0, 100}}) {
    EXPECT_EQ(c.rate.timeScale(), c.scale) << c.rate.raw();
    EXPECT_EQ(c.rate.frameDuration(), c.duration) << c.rate.raw();
  }
  EXPECT_TRUE(FrameRate(25000, 1001).isNtsc());
}

TEST(FrameRate, TimeBaseRoundTripsThroughItsOwnOutput) {
  for (std::uint32_t raw : {30u, 24u, 25u, 50u, 1000u, 0x8000003Cu, 0x8000001Eu, 0x80000018u}) {
    const FrameRate rate = FrameRate::fromRaw(raw);
    EXPECT_EQ(FrameRate(rate.timeScale(), rate.frameDuration()), rate) << raw;
  }
}

TEST(FrameRate, FloatRateIsSinglePrecisionMultiplyThenDivide) {
  // 30 * 1000 / 1001 in float is 0x41EFC29F; 30 * (1000 / 1001) would give 0x41EFC2A0.
  EXPECT_EQ(std::bit_cast<std::uint32_t>(FrameRate(29.97f).toFloat()), 0x41EFC29Fu);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(FrameRate(59.94f).toFloat()), 0x426FC29Fu);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(FrameRate(23.976f).toFloat()), 0x41BFCEE6u);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(FrameRate::fromRaw(0x800003E8u).toFloat()), 0x4479C010u);
  EXPECT_EQ(FrameRate(25.0f).toFloat(), 25.0f);
  EXPECT_EQ(FrameRate(12.5f).toFloat(), 12.0f);
}

TEST(FrameRate, RawWordIsNominalWithNtscInTopBit) {
  const FrameRate rate = FrameRate::fromRaw(0xFFFFFFFFu);
  expectRate(rate, 0x7FFFFFFFu, true);
  EXPECT_EQ(rate.raw(), 0xFFFFFFFFu);
  EXPECT_EQ(FrameRate().raw(), 0u);
  EXPECT_EQ(FrameRate(24.0f).raw(), 24u);
}

}  // namespace
}  // namespace Vantor::QuickTime
