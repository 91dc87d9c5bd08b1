// Every optimised kernel table against the reference kernels, bit for bit: random and edge
// inputs (NaN, infinities, negatives, values above 1, denormals, rounding ties), odd and
// zero counts, misaligned buffers, and the interleaved, reordered, planar and odd-stride
// layouts with and without alpha.
#include <vantor/quicktime/PixelKernels.h>

#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <bit>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>
#include <type_traits>
#include <vector>

using namespace Vantor::QuickTime;

namespace {

const int kCounts[] = {0, -5, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 63, 64, 65, 130, 1921, 7683};

float edgeOrRandom(std::mt19937& rng) {
  static const float kEdges[] = {std::numeric_limits<float>::quiet_NaN(),
                                 -std::numeric_limits<float>::quiet_NaN(),
                                 std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity(),
                                 0.0f,
                                 -0.0f,
                                 1.0f,
                                 0.5f,
                                 1e-40f,
                                 -1e-40f,
                                 1e30f,
                                 -1e30f,
                                 1.0000001f,
                                 0.99999994f,
                                 0.5f / 65280.0f,
                                 128.5f / 65280.0f,
                                 0.5f / 65535.0f,
                                 3.5f / 65535.0f};
  switch (rng() % 8) {
    case 0:
      return kEdges[rng() % std::size(kEdges)];
    case 1:
      return std::bit_cast<float>(static_cast<uint32_t>(rng()));
    case 2:  // ties of the 8-bit and 16-bit roundings
      return (rng() % 2 ? (rng() % 65280 + 0.5f) / 65280.0f : (rng() % 65535 + 0.5f) / 65535.0f);
    default:
      return std::uniform_real_distribution<float>(-0.25f, 1.25f)(rng);
  }
}

std::vector<float> randomFloats(std::mt19937& rng, size_t n) {
  std::vector<float> v(n);
  for (float& x : v) x = edgeOrRandom(rng);
  return v;
}

std::vector<uint8_t> randomBytes(std::mt19937& rng, size_t n) {
  std::vector<uint8_t> v(n);
  for (uint8_t& x : v) x = static_cast<uint8_t>(rng());
  return v;
}

// Where the four host channels of pixel 0 lie in a buffer, and their shared stride.
struct Layout {
  const char* name;
  int stride, r, g, b, a;  // a < 0: no alpha; a planar layout spaces channels by `plane`
  bool planar;
};
const Layout kLayouts[] = {{"rgba", 4, 0, 1, 2, 3, false},     {"rgb", 4, 0, 1, 2, -1, false},
                           {"bgra", 4, 2, 1, 0, 3, false},     {"stride5", 5, 1, 2, 3, 0, false},
                           {"stride3", 3, 0, 1, 2, -1, false}, {"planar", 1, 0, 1, 2, 3, true}};

struct HostRow {
  std::vector<float> data;
  float *r, *g, *b, *a;
  HostRow(const Layout& l, int pixels, std::vector<float> fill, int misalign) : data(std::move(fill)) {
    const int plane = l.planar ? pixels + 3 : 1;
    float* base = data.data() + misalign;
    r = base + l.r * plane;
    g = base + l.g * plane;
    b = base + l.b * plane;
    a = l.a < 0 ? nullptr : base + l.a * plane;
  }
};
size_t hostSize(int pixels) { return 5 * static_cast<size_t>(pixels + 4) + 8; }

// Same bits, except that a NaN matches any NaN: which operand's NaN (sign and payload) an
// operation passes on depends on the instruction's operand order, which the compiler may swap
// for commutative operations, so no C++ code fixes it.
template <typename T>
bool sameResult(T x, T y) {
  if constexpr (std::is_floating_point_v<T>)
    if (x != x && y != y) return true;
  return std::memcmp(&x, &y, sizeof(T)) == 0;
}

template <typename T>
void expectSameBits(const std::vector<T>& expected, const std::vector<T>& actual, const std::string& what) {
  ASSERT_EQ(expected.size(), actual.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    if (!sameResult(expected[i], actual[i])) {
      ADD_FAILURE() << what << ": first difference at element " << i << ": " << +expected[i] << " vs " << +actual[i];
      return;
    }
  }
}

// Parameters: the level, and whether denormals are flushed to zero (FTZ and DAZ in MXCSR), as
// the settings tool runs.
class KernelMatchTest : public testing::TestWithParam<std::tuple<KernelLevel, bool>> {
 protected:
  void SetUp() override {
    if (!kernelLevelSupported(level())) GTEST_SKIP() << "instruction set not available";
    if (std::get<1>(GetParam())) _mm_setcsr(savedCsr_ | kFlushToZero | kDenormalsAreZero);
  }
  void TearDown() override { _mm_setcsr(savedCsr_); }
  KernelLevel level() const { return std::get<0>(GetParam()); }
  const KernelTable& table() const { return kernelTable(level()); }
  std::mt19937 rng{1234};

 private:
  static constexpr unsigned kFlushToZero = 0x8000, kDenormalsAreZero = 0x0040;
  const unsigned savedCsr_ = _mm_getcsr();
};

std::string caseName(const char* kernel, const Layout& l, int count, int misalign) {
  return std::string(kernel) + " layout " + l.name + " count " + std::to_string(count) + " misalign " +
         std::to_string(misalign);
}

}  // namespace

TEST_P(KernelMatchTest, EncodersMatchReference) {
  for (const Layout& l : kLayouts)
    for (int count : kCounts)
      for (int misalign : {0, 1}) {
        const int pixels = count > 0 ? count : 1;
        const std::vector<float> host = randomFloats(rng, hostSize(pixels));
        const HostRow in(l, pixels, host, misalign);
        const std::string name = caseName("", l, count, misalign);

        std::vector<float> f0(4 * pixels + 9, -3.0f), f1 = f0;
        reference::convertRgbToR4fl(in.a, in.r, in.g, in.b, l.stride, f0.data() + misalign, count);
        table().rgbToR4fl(in.a, in.r, in.g, in.b, l.stride, f1.data() + misalign, count);
        expectSameBits(f0, f1, "r4fl" + name);

        std::vector<uint8_t> b0(4 * pixels + 9, 0xAB), b1 = b0;
        reference::convertRgbToR408(in.r, in.g, in.b, l.stride, b0.data() + misalign, count);
        table().rgbToR408(in.r, in.g, in.b, l.stride, b1.data() + misalign, count);
        expectSameBits(b0, b1, "r408" + name);

        std::vector<uint8_t> v0(4 * pixels + 9, 0xAB), v1 = v0;
        reference::convertRgbTo2vuy(in.r, in.g, in.b, l.stride, v0.data() + misalign, count);
        table().rgbTo2vuy(in.r, in.g, in.b, l.stride, v1.data() + misalign, count);
        expectSameBits(v0, v1, "2vuy" + name);
      }
}

TEST_P(KernelMatchTest, DecodersMatchReference) {
  for (const Layout& l : kLayouts)
    for (int count : kCounts)
      for (int misalign : {0, 1, 3}) {
        const int pixels = count > 0 ? count : 1;
        const std::vector<uint8_t> bytes = randomBytes(rng, 4 * pixels + 8);
        const std::vector<float> floats = randomFloats(rng, 4 * pixels + 8);
        const uint8_t* inBytes = bytes.data() + misalign;
        const std::vector<float> fill(hostSize(pixels), -3.0f);
        HostRow out0(l, pixels, fill, misalign % 2), out1(l, pixels, fill, misalign % 2);
        const std::string name = caseName("", l, count, misalign);
        auto check = [&](const char* kernel, auto&& run) {
          out0.data = fill;
          out1.data = fill;
          run(true, out0);
          run(false, out1);
          expectSameBits(out0.data, out1.data, kernel + name);
        };
        // Byte counts cover whole groups and every kind of partial last group.
        check("yuvs", [&](bool ref, HostRow& o) {
          (ref ? reference::convertYuvsToRgb : table().yuvsToRgb)(inBytes, o.a, o.r, o.g, o.b, l.stride,
                                                                  count * 2 + misalign % 2);
        });
        for (ChromaCoefficients set : {kVideo2vuyMpeg, kVideo2vuyDefault})
          check("2vuy", [&](bool ref, HostRow& o) {
            (ref ? reference::convert2vuyToRgb : table().twoVuyToRgb)(inBytes, o.a, o.r, o.g, o.b, l.stride,
                                                                      count * 2 + misalign / 3, set);
          });
        check("r408", [&](bool ref, HostRow& o) {
          (ref ? reference::convertR408ToRgb : table().r408ToRgb)(inBytes, o.a, o.r, o.g, o.b, l.stride, count);
        });
        check("r4fl", [&](bool ref, HostRow& o) {
          (ref ? reference::convertR4flToRgb : table().r4flToRgb)(floats.data() + misalign, o.a, o.r, o.g, o.b,
                                                                  l.stride, count);
        });
      }
}

TEST_P(KernelMatchTest, IntegerConvertersMatchReference) {
  for (int count : kCounts)
    for (int inStride : {1, 4, 3})
      for (int outStride : {1, 4, 2})
        for (int misalign : {0, 1}) {
          const int n = count > 0 ? count : 1;
          const std::vector<float> in = randomFloats(rng, static_cast<size_t>(n) * inStride + 8);
          const std::string name = " count " + std::to_string(count) + " strides " + std::to_string(inStride) + "/" +
                                   std::to_string(outStride);
          std::vector<uint8_t> b0(static_cast<size_t>(n) * outStride + 8, 0xAB), b1 = b0;
          reference::convertFloatToByte(b0.data() + misalign, in.data() + misalign, count, inStride, outStride);
          table().floatToByte(b1.data() + misalign, in.data() + misalign, count, inStride, outStride);
          expectSameBits(b0, b1, "byte" + name);

          for (int bits : {16, 8, 10, 1, 0, 20}) {
            std::vector<uint16_t> s0(static_cast<size_t>(n) * outStride + 8, 0xABCD), s1 = s0;
            reference::convertFloatToShort(s0.data() + misalign, in.data() + misalign, count, bits, outStride);
            table().floatToShort(s1.data() + misalign, in.data() + misalign, count, bits, outStride);
            expectSameBits(s0, s1, "short bits " + std::to_string(bits) + name);
          }
        }
}

INSTANTIATE_TEST_SUITE_P(Levels, KernelMatchTest,
                         testing::Combine(testing::Values(KernelLevel::kBaseline, KernelLevel::kAvx2,
                                                          KernelLevel::kAvx512),
                                          testing::Bool()),
                         [](const auto& info) {
                           return std::string(kernelLevelName(std::get<0>(info.param))) +
                                  (std::get<1>(info.param) ? "_flushToZero" : "");
                         });

namespace {

// A row of `floats` floats that starts `offset` floats past a 64-byte boundary.
struct OffsetRow {
  std::vector<float> storage;
  float* row;
  OffsetRow(size_t floats, int offset, float fill) : storage(floats + 16 + offset, fill) {
    const auto address = reinterpret_cast<uintptr_t>(storage.data());
    row = storage.data() + (64 - address % 64) % 64 / sizeof(float) + offset;
  }
};

}  // namespace

// Rows long enough to be written past the cache, at every 16-byte position within a cache
// line (each takes its own path through the line-sized stores) and misaligned, with input
// that holds every byte value in every position of a group and of a pixel.
TEST_P(KernelMatchTest, LongDecoderRowsMatchReferenceAtEveryAlignment) {
  for (int count : {1024, 1025, 1920, 1937})
    for (int offset : {0, 4, 8, 12, 1, 6}) {
      std::vector<uint8_t> bytes = randomBytes(rng, 4 * static_cast<size_t>(count) + 8);
      for (int i = 0; i < 256; ++i) {
        const uint8_t group[4] = {static_cast<uint8_t>(i), static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i * 7),
                                  static_cast<uint8_t>(i * 13 + 5)};
        std::memcpy(bytes.data() + 4 * i, group, 4);
      }
      const std::vector<float> floats = randomFloats(rng, 4 * static_cast<size_t>(count) + 8);
      const size_t size = 4 * static_cast<size_t>(count) + 8;
      const std::string name = " count " + std::to_string(count) + " offset " + std::to_string(offset);
      auto check = [&](const char* kernel, auto&& run) {
        OffsetRow expected(size, offset, -3.0f), actual(size, offset, -3.0f);
        run(true, expected.row);
        run(false, actual.row);
        expectSameBits(std::vector<float>(expected.row, expected.row + size),
                       std::vector<float>(actual.row, actual.row + size), kernel + name);
      };
      for (ChromaCoefficients set : {kVideo2vuyMpeg, kVideo2vuyDefault})
        for (int byteCount : {2 * count, 2 * count + 1})
          check("2vuy", [&](bool ref, float* o) {
            (ref ? reference::convert2vuyToRgb : table().twoVuyToRgb)(bytes.data(), o + 3, o, o + 1, o + 2, 4,
                                                                      byteCount, set);
          });
      check("yuvs", [&](bool ref, float* o) {
        (ref ? reference::convertYuvsToRgb : table().yuvsToRgb)(bytes.data(), o + 3, o, o + 1, o + 2, 4, 2 * count);
      });
      check("r408", [&](bool ref, float* o) {
        (ref ? reference::convertR408ToRgb : table().r408ToRgb)(bytes.data(), o + 3, o, o + 1, o + 2, 4, count);
      });
      check("r4fl", [&](bool ref, float* o) {
        (ref ? reference::convertR4flToRgb : table().r4flToRgb)(floats.data(), o + 3, o, o + 1, o + 2, 4, count);
      });
    }
}
