// The kernels stay inside their rows: inputs end right before an inaccessible page (a read
// past the row faults), outputs are followed by guard values that must survive, and counts
// of zero or less touch nothing.
#include <vantor/quicktime/PixelKernels.h>

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

using namespace Vantor::QuickTime;

namespace {

// `size` bytes whose last byte is the last accessible one before a PROT_NONE page.
class FencedBuffer {
 public:
  explicit FencedBuffer(size_t size) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    length_ = ((size + page_ - 1) / page_ + 1) * page_;
    void* m = mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    base_ = static_cast<uint8_t*>(m);
    mprotect(base_ + length_ - page_, page_, PROT_NONE);
    data_ = base_ + length_ - page_ - size;
    std::memset(data_, 100, size);
  }
  ~FencedBuffer() { munmap(base_, length_); }
  template <typename T>
  T* as() {
    return reinterpret_cast<T*>(data_);
  }

 private:
  size_t page_, length_;
  uint8_t* base_;
  uint8_t* data_;
};

constexpr float kGuard = -12345.0f;

}  // namespace

TEST(KernelBoundsTest, DecodersReadNothingPastTheRow) {
  for (int byteCount : {1, 2, 3, 4, 5, 6, 7, 8, 38, 3839, 3840, 3841, 3842}) {
    FencedBuffer in(byteCount);
    std::vector<float> rgba(4 * (byteCount / 2 + 1) + 4, kGuard);
    const int pixels = byteCount / 2;
    float* px = rgba.data();
    convertYuvsToRgb(in.as<uint8_t>(), px + 3, px, px + 1, px + 2, 4, byteCount);
    EXPECT_EQ(rgba[4 * pixels], kGuard) << byteCount;
    EXPECT_NE(pixels > 0 ? rgba[4 * pixels - 1] : 1.0f, kGuard) << byteCount;
    convert2vuyToRgb(in.as<uint8_t>(), px + 3, px, px + 1, px + 2, 4, byteCount, kVideo2vuyMpeg);
    EXPECT_EQ(rgba[4 * pixels], kGuard) << byteCount;
  }
  for (int count : {1, 3, 17, 1920}) {
    std::vector<float> rgba(4 * count + 4, kGuard);
    float* px = rgba.data();
    FencedBuffer bytes(4 * count);
    convertR408ToRgb(bytes.as<uint8_t>(), px + 3, px, px + 1, px + 2, 4, count);
    EXPECT_EQ(rgba[4 * count], kGuard);
    FencedBuffer floats(16 * count);
    convertR4flToRgb(floats.as<float>(), px + 3, px, px + 1, px + 2, 4, count);
    EXPECT_EQ(rgba[4 * count], kGuard);
  }
}

TEST(KernelBoundsTest, EncodersReadAndWriteOnlyTheirPixels) {
  for (int count : {1, 2, 3, 17, 1919, 1920}) {
    FencedBuffer host(16 * count);
    const float* bgra = host.as<float>();
    std::vector<float> r4fl(4 * count + 1, kGuard);
    convertRgbToR4fl(bgra + 3, bgra + 2, bgra + 1, bgra, 4, r4fl.data(), count);
    EXPECT_EQ(r4fl[4 * count], kGuard);
    std::vector<uint8_t> bytes(4 * count + 1, 0xAB);
    convertRgbToR408(bgra + 2, bgra + 1, bgra, 4, bytes.data(), count);
    EXPECT_EQ(bytes[4 * count], 0xAB);
    std::fill(bytes.begin(), bytes.end(), 0xAB);
    convertRgbTo2vuy(bgra + 2, bgra + 1, bgra, 4, bytes.data(), count);
    EXPECT_EQ(bytes[4 * ((count + 1) / 2)], 0xAB);  // an odd last pixel makes a group of its own

    FencedBuffer values(4 * count);
    std::vector<uint16_t> shorts(count + 1, 0xABCD);
    convertFloatToShort(shorts.data(), values.as<float>(), count, 16, 1);
    EXPECT_EQ(shorts[count], 0xABCD);
    std::fill(bytes.begin(), bytes.end(), 0xAB);
    convertFloatToByte(bytes.data() + 1, bgra + 1, count, 4, 4);  // one channel of ARGB
    for (int i = 0; i < 4 * count; ++i) ASSERT_EQ(bytes[i] == 0xAB, i % 4 != 1) << i;
  }
}

TEST(KernelBoundsTest, ZeroAndNegativeCountsTouchNothing) {
  std::vector<float> host(64, 0.5f);
  std::vector<uint8_t> bytes(64, 0xAB);
  std::vector<float> floats(64, kGuard);
  std::vector<uint16_t> shorts(64, 0xABCD);
  float* px = floats.data();
  for (int count : {0, -1, -4}) {
    convertRgbToR4fl(nullptr, &host[2], &host[1], &host[0], 4, floats.data(), count);
    convertRgbToR408(&host[2], &host[1], &host[0], 4, bytes.data(), count);
    convertRgbTo2vuy(&host[2], &host[1], &host[0], 4, bytes.data(), count);
    convertFloatToByte(bytes.data(), host.data(), count, 1, 1);
    convertFloatToShort(shorts.data(), host.data(), count, 16, 1);
    convertYuvsToRgb(bytes.data(), px + 3, px, px + 1, px + 2, 4, count);
    convert2vuyToRgb(bytes.data(), px + 3, px, px + 1, px + 2, 4, count, kVideo2vuyDefault);
    convertR408ToRgb(bytes.data(), px + 3, px, px + 1, px + 2, 4, count);
    convertR4flToRgb(host.data(), px + 3, px, px + 1, px + 2, 4, count);
  }
  EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0xAB), 64);
  EXPECT_EQ(std::count(floats.begin(), floats.end(), kGuard), 64);
  EXPECT_EQ(std::count(shorts.begin(), shorts.end(), 0xABCD), 64);
}
