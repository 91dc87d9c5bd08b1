#include "TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vqt::test {

std::size_t packedBytesPerRow(std::uint32_t format, int width) {
  const auto w = static_cast<std::size_t>(width);
  switch (format) {
    case 32:
    case 'r408':
      return w * 4;
    case 'r4fl':
      return w * 16;
    case 'b64a':
      return w * 8;
    case 'b48r':
      return w * 6;
    case '2vuy':
    case 'yuvs':
      return (w + 1) / 2 * 4;
    case 'v210':
      return (w + 47) / 48 * 128;
    default:
      return 0;
  }
}

TestImage::TestImage(std::uint32_t pixelFormat, int w, int h)
    : format(pixelFormat),
      width(w),
      height(h),
      bytesPerRow(packedBytesPerRow(pixelFormat, w)),
      bytes(bytesPerRow * static_cast<std::size_t>(h)) {}

TestImage makeArgbPattern(int width, int height, int index, bool alphaRamp) {
  TestImage image(32, width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      std::uint8_t* p = image.bytes.data() + y * image.bytesPerRow + 4 * x;
      const int xs = std::min(x + 3 * index, width - 1);
      p[0] = alphaRamp ? static_cast<std::uint8_t>(255 * x / (width - 1)) : 255;
      p[1] = static_cast<std::uint8_t>(255 * xs / (width - 1));
      p[2] = static_cast<std::uint8_t>(255 * y / (height - 1));
      p[3] = static_cast<std::uint8_t>(255 * (width - 1 - xs + y) / (width + height - 2));
    }
  }
  return image;
}

double psnrArgb(const TestImage& a, const TestImage& b, bool includeAlpha) {
  EXPECT_EQ(a.width, b.width);
  EXPECT_EQ(a.height, b.height);
  double sum = 0;
  std::size_t count = 0;
  for (int y = 0; y < std::min(a.height, b.height); ++y) {
    for (int x = 0; x < std::min(a.width, b.width); ++x) {
      const std::uint8_t* p = a.bytes.data() + y * a.bytesPerRow + 4 * x;
      const std::uint8_t* q = b.bytes.data() + y * b.bytesPerRow + 4 * x;
      for (int c = includeAlpha ? 0 : 1; c < 4; ++c) {
        const double d = static_cast<double>(p[c]) - q[c];
        sum += d * d;
        ++count;
      }
    }
  }
  if (count == 0 || sum == 0) return 99.0;
  return 10.0 * std::log10(255.0 * 255.0 / (sum / static_cast<double>(count)));
}

TestImage argbToYCbCr(const TestImage& argb, std::uint32_t format) {
  TestImage out(format, argb.width, argb.height);
  for (int y = 0; y < argb.height; ++y) {
    for (int x = 0; x < argb.width; ++x) {
      const std::uint8_t* p = argb.bytes.data() + y * argb.bytesPerRow + 4 * x;
      const double r = p[1], g = p[2], b = p[3];
      const double luma = 16 + 219 * (0.299 * r + 0.587 * g + 0.114 * b) / 255;
      const double cb = 128 + 224 * (-0.168736 * r - 0.331264 * g + 0.5 * b) / 255;
      const double cr = 128 + 224 * (0.5 * r - 0.418688 * g - 0.081312 * b) / 255;
      std::uint8_t* o = out.bytes.data() + y * out.bytesPerRow;
      if (format == 'r4fl') {
        const float v[4] = {p[0] / 255.0f, static_cast<float>((luma - 16) / 255), static_cast<float>(cb / 255),
                            static_cast<float>(cr / 255)};
        std::memcpy(o + 16 * x, v, 16);
      } else {
        const std::uint8_t v[4] = {p[0], static_cast<std::uint8_t>(std::lround(luma - 16)),
                                   static_cast<std::uint8_t>(std::lround(cb)),
                                   static_cast<std::uint8_t>(std::lround(cr))};
        std::memcpy(o + 4 * x, v, 4);
      }
    }
  }
  return out;
}

double psnrR4fl(const TestImage& a, const TestImage& b, bool includeAlpha) {
  double sum = 0;
  std::size_t count = 0;
  for (int y = 0; y < std::min(a.height, b.height); ++y) {
    for (int x = 0; x < std::min(a.width, b.width); ++x) {
      float p[4], q[4];
      std::memcpy(p, a.bytes.data() + y * a.bytesPerRow + 16 * x, 16);
      std::memcpy(q, b.bytes.data() + y * b.bytesPerRow + 16 * x, 16);
      for (int c = includeAlpha ? 0 : 1; c < 4; ++c) {
        const double d = 255.0 * (static_cast<double>(p[c]) - q[c]);
        sum += d * d;
        ++count;
      }
    }
  }
  if (count == 0 || sum == 0) return 99.0;
  return 10.0 * std::log10(255.0 * 255.0 / (sum / static_cast<double>(count)));
}

std::string makeFixture(const std::string& name, const std::string& arguments) {
  const std::filesystem::path folder = VQT_FIXTURE_DIR;
  std::filesystem::create_directories(folder);
  const std::filesystem::path path = folder / name;
  if (std::filesystem::exists(path)) return path.string();
  // Written under a private name first, so a concurrent test never reads half a file.
  const std::filesystem::path partial =
      folder / (name + ".part" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
                std::to_string(std::rand()));
  const std::string command =
      std::string(VQT_FFMPEG) + " -nostdin -loglevel error -y " + arguments + " '" + partial.string() + "'";
  if (std::system(command.c_str()) != 0) {
    ADD_FAILURE() << "ffmpeg failed: " << command;
    return {};
  }
  std::filesystem::rename(partial, path);
  return path.string();
}

std::vector<std::uint8_t> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<AccessUnit> splitAccessUnits(const std::vector<std::uint8_t>& stream, bool hevc) {
  std::vector<std::size_t> starts;  // first byte of each start code (4-byte ones included)
  std::vector<std::size_t> payloads;
  for (std::size_t i = 0; i + 3 < stream.size(); ++i) {
    if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
      starts.push_back(i > 0 && stream[i - 1] == 0 ? i - 1 : i);
      payloads.push_back(i + 3);
      i += 2;
    }
  }
  std::vector<AccessUnit> units;
  for (std::size_t k = 0; k < starts.size(); ++k) {
    const std::size_t end = k + 1 < starts.size() ? starts[k + 1] : stream.size();
    // H.264: delimiter 9, IDR slice 5. HEVC: delimiter 35, IRAP slices 16 to 21.
    const int type = hevc ? (stream[payloads[k]] >> 1) & 0x3F : stream[payloads[k]] & 0x1F;
    if (type == (hevc ? 35 : 9) || units.empty()) units.push_back({});
    units.back().bytes.insert(units.back().bytes.end(), stream.begin() + starts[k], stream.begin() + end);
    if (hevc ? type >= 16 && type <= 21 : type == 5) units.back().sync = true;
  }
  return units;
}

}  // namespace vqt::test
