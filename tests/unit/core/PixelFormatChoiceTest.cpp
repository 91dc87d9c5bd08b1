#include <Carbon/MacMemory.h>
#include <QuickTime/ImageCompression.h>
#include <gtest/gtest.h>
#include <CoreFoundation/CFBundle.h>
#include <vantor/host/BundleLocation.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "PixelFormatChoice.h"

using namespace Vantor::QuickTime;

namespace {

// A host bundle in a temporary folder whose Resources/GlobalSettings.csv the test writes.
class PixelFormatChoiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root = std::filesystem::temp_directory_path() / ("vqt-core-" + std::to_string(getpid()));
    std::filesystem::create_directories(root / "Host.app/Contents/Resources");
    VqtCFBundleRegister((root / "Host.app").c_str(), kHostBundleIdentifier);
  }
  void TearDown() override { std::filesystem::remove_all(root); }

  void writeSettings(const std::string& text) {
    std::ofstream(root / "Host.app/Contents/Resources/GlobalSettings.csv") << text;
  }

  static Component codec(OSType type, OSType subType, std::vector<OSType> formats, OSType manufacturer = 'test') {
    VqtComponentRegistration r;
    r.description = {type, subType, manufacturer, 0, 0};
    r.name = "Test codec";
    if (!formats.empty()) r.publicResources.push_back({{'cpix', 1}, VqtPixelFormatResource(formats)});
    return VqtRegisterComponent(r);
  }

  static std::pair<OSType, int> choose(Component c) {
    OSType format = 0xFFFFFFFF;
    int flags = -1;
    choosePixelFormat(c, format, flags);
    return {format, flags};
  }

  std::filesystem::path root;
};

}  // namespace

TEST_F(PixelFormatChoiceTest, PreferenceOrderAndOverrideFlags) {
  writeSettings(
      "# direction, codec, manufacturer, platform, architecture, flags\n"
      "decode,fl02,0,macosx,intel,2\n"
      "decode,fl03,0,macosx,intel,3\n"
      "decode,f200,0,macosx,intel,512\n"
      "decode,f600,0,macosx,intel,1536\n"
      "decode,b400,0,macosx,0,1024\n"
      "decode,r100,0,0,0,256\n");
  const std::vector<OSType> yuvRgb = {'2vuy', 'b64a', 32};
  EXPECT_EQ(choose(codec('imdc', 'none', yuvRgb)), std::make_pair(OSType('2vuy'), 0));
  EXPECT_EQ(choose(codec('imdc', 'fl02', yuvRgb)), std::make_pair(OSType('b64a'), 2));
  EXPECT_EQ(choose(codec('imdc', 'fl03', yuvRgb)), std::make_pair(OSType(32), 3));
  EXPECT_EQ(choose(codec('imdc', 'f200', yuvRgb)), std::make_pair(OSType('b64a'), 0x200));
  // Every listed format ruled out: the default applies even though the flags exclude it.
  EXPECT_EQ(choose(codec('imdc', 'f600', yuvRgb)), std::make_pair(OSType(32), 0x600));
  EXPECT_EQ(choose(codec('imdc', 'b400', {'b64a'})).first, OSType(32));
  // 'r4fl' beats 'r408' whatever the order of the list; excluding it falls back to 'r408'.
  EXPECT_EQ(choose(codec('imdc', 'none', {'r408', 'r4fl'})).first, OSType('r4fl'));
  EXPECT_EQ(choose(codec('imdc', 'none', {'r4fl', 'r408'})).first, OSType('r4fl'));
  EXPECT_EQ(choose(codec('imdc', 'r100', {'r4fl', 'r408'})).first, OSType('r408'));
  // Formats we cannot convert are passed over; no list at all gives 32.
  EXPECT_EQ(choose(codec('imdc', 'none', {'v210', 'yuvs'})).first, OSType(32));
  EXPECT_EQ(choose(codec('imdc', 'none', {})).first, OSType(32));
}

TEST_F(PixelFormatChoiceTest, R4flIsMadeKnownToTheSystem) {
  writeSettings("");
  EXPECT_EQ(choose(codec('imdc', 'none', {'r4fl'})).first, OSType('r4fl'));
  ICMPixelFormatInfo info{};
  info.size = 100;
  EXPECT_EQ(ICMGetPixelFormatInfo('r4fl', &info), noErr);
  EXPECT_EQ(info.bitsPerPixel[0], 128);
}

TEST_F(PixelFormatChoiceTest, RowsMatchByDirectionCodecAndArchitecture) {
  writeSettings(
      "encode,apch,0,macosx,intel,2\n"
      "decode,ppcx,0,macosx,ppc,2\n"
      "encode,wind,0,windows,intel,2\n"
      "decode,0,othr,linux,32,1\n"
      "decode,0,othr,macosx,intel,2\n");
  const std::vector<OSType> formats = {'2vuy', 'b64a', 32};
  EXPECT_EQ(choose(codec('imco', 'apch', formats)).second, 2);
  EXPECT_EQ(choose(codec('imdc', 'apch', formats)).second, 0);          // an encode row is not for decompressors
  EXPECT_EQ(choose(codec('imdc', 'ppcx', formats)).second, 0);          // "ppc" rows never apply
  EXPECT_EQ(choose(codec('imco', 'wind', formats)).second, 0);          // "windows" rows are not even loaded
  EXPECT_EQ(choose(codec('imdc', 'any1', formats, 'othr')).second, 1);  // the row nearer the top wins
  EXPECT_EQ(globalSettingsTable().size(), 4u);
}

TEST_F(PixelFormatChoiceTest, BadLinesAreReportedWithTheirFileLineNumber) {
  writeSettings(
      "// comment\n"
      "\n"
      "decode,a,b,c,d\n"
      "/x,\"ap,1\",0,macosx,intel,7\n"
      "decode,1,2,3,4,5,6\n"
      "decode,ap\\q,0,macosx,intel,1\n"
      "decode,abc,0,macosx,intel,notanumber\n");
  testing::internal::CaptureStderr();
  Component quoted = codec('imdc', 'ap,1', {'2vuy'});
  Component shortCode = codec('imdc', FourCC("abc\0"), {'2vuy'});
  const auto quotedChoice = choose(quoted);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err,
            "Ignoring bad line 3: decode,a,b,c,d\n"
            "Ignoring bad line 5: decode,1,2,3,4,5,6\n"
            "Ignoring bad line 6: decode,ap\\q,0,macosx,intel,1\n");
  // "/x" is a record (not a comment); its quoted codec column reads without the quotes.
  EXPECT_EQ(quotedChoice.second, 7);
  // A short code is padded with zero bytes; a flags column without a number is 0.
  EXPECT_EQ(choose(shortCode).second, 0);
  ASSERT_EQ(globalSettingsTable().size(), 2u);
  EXPECT_EQ(globalSettingsTable()[1].componentSubType, OSType('abc') << 8);
}

TEST_F(PixelFormatChoiceTest, AMissingFileIsLookedForAgainNextTime) {
  Component c = codec('imdc', 'late', {'2vuy', 'b64a'});
  EXPECT_EQ(choose(c).second, 0);
  writeSettings("decode,late,0,macosx,intel,2\n");
  EXPECT_EQ(choose(c), std::make_pair(OSType('b64a'), 2));
}

TEST_F(PixelFormatChoiceTest, OverlongLineIsCutAndEndsTheFile) {
  writeSettings("decode,long,0,macosx,intel,2" + std::string(300, ' ') + "\ndecode,next,0,macosx,intel,2\n");
  choose(codec('imdc', 'none', {}));
  ASSERT_EQ(globalSettingsTable().size(), 1u);
  EXPECT_EQ(globalSettingsTable()[0].componentSubType, OSType('long'));
}

TEST(FourCharCodeColumns, DecimalZeroAndThirtyTwoElsePacked) {
  EXPECT_EQ(parseFourCharCode("0"), 0u);
  EXPECT_EQ(parseFourCharCode("32"), 32u);
  EXPECT_EQ(parseFourCharCode("apch"), 0x61706368u);
  EXPECT_EQ(parseFourCharCode("apchXYZ"), 0x61706368u);
  EXPECT_EQ(parseFourCharCode("ab"), 0x61620000u);
  EXPECT_EQ(parseFourCharCode(""), 0u);
}

namespace {

// An image description with one configuration extension of `type` holding
// `payload`, disposed of at the end of the expression that made it.
class DescribedBy {
 public:
  DescribedBy(long type, const std::vector<UInt8>& payload)
      : image_(VqtNewImageDescription(type == 'avcC' ? 'avc1' : 'hvc1', 64, 64)) {
    Handle extension = NewHandle(static_cast<Size>(payload.size()));
    if (!payload.empty()) std::memcpy(*extension, payload.data(), payload.size());
    AddImageDescriptionExtension(image_, extension, type);
    DisposeHandle(extension);
  }
  ~DescribedBy() { DisposeHandle(reinterpret_cast<Handle>(image_)); }
  DescribedBy(const DescribedBy&) = delete;
  DescribedBy& operator=(const DescribedBy&) = delete;
  operator ImageDescriptionHandle() const { return image_; }

 private:
  ImageDescriptionHandle image_;
};

// An 'hvcC' payload of 23 bytes with this profile, chroma format and depths less 8.
std::vector<UInt8> hvcC(UInt8 profile, UInt8 chroma, UInt8 lumaMore, UInt8 chromaMore) {
  std::vector<UInt8> bytes(23, 0);
  bytes[0] = 1;
  bytes[1] = profile;
  bytes[16] = 0xFC | chroma;
  bytes[17] = 0xF8 | lumaMore;
  bytes[18] = 0xF8 | chromaMore;
  return bytes;
}

}  // namespace

// 8-bit 4:2:0 H.264 and HEVC streams take '2vuy' ahead of 'r4fl'; deeper or
// wider-chroma ones, unreadable configurations and overrides keep the order.
TEST_F(PixelFormatChoiceTest, EightBitFourTwoZeroStreamsTake2vuyBeforeFloats) {
  writeSettings("decode,x2vy,0,macosx,intel,2\n");
  const std::vector<OSType> anyDepth = {'r4fl', '2vuy'};
  const Component h264 = codec('imdc', 'none', anyDepth);
  auto chooseFor = [](Component c, ImageDescriptionHandle image) {
    OSType format = 0;
    int flags = 0;
    choosePixelFormat(c, format, flags, image);
    return format;
  };
  struct Case {
    long type;
    std::vector<UInt8> payload;
    bool eightBit420;
  };
  const Case cases[] = {
      {'avcC', {1, 66, 0xC0, 30, 0xFF, 0xE0, 0}, true},  // Baseline
      {'avcC', {1, 77, 0x40, 40, 0xFF, 0xE0, 0}, true},  // Main
      {'avcC', {1, 100, 0, 40, 0xFF, 0xE0, 0}, true},    // High
      {'avcC', {1, 110, 0, 40, 0xFF, 0xE0, 0}, false},   // High 10
      {'avcC', {1, 122, 0, 40, 0xFF, 0xE0, 0}, false},   // High 4:2:2
      {'avcC', {1, 244, 0, 40, 0xFF, 0xE0, 0}, false},   // High 4:4:4
      {'avcC', {0, 100, 0, 40, 0xFF, 0xE0, 0}, false},   // not version 1
      {'avcC', {1, 100, 0, 40, 0xFF}, false},            // cut short before its sets
      {'avcC', {}, false},                               // empty
      {'hvcC', hvcC(1, 1, 0, 0), true},                  // Main
      {'hvcC', hvcC(2, 1, 2, 2), false},                 // Main 10
      {'hvcC', hvcC(4, 2, 0, 0), false},                 // 8-bit 4:2:2
      {'hvcC', std::vector<UInt8>(18, 1), false},        // cut short
      {'esds', {1, 100, 0, 40}, false},                  // no H.264 or HEVC configuration
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.type == 'avcC'   ? "avcC"
                             : c.type == 'hvcC' ? "hvcC"
                                                : "esds") +
                 " case with " + std::to_string(c.payload.size()) + " bytes");
    EXPECT_EQ(isEightBit420Stream(DescribedBy(c.type, c.payload)), c.eightBit420);
    EXPECT_EQ(chooseFor(h264, DescribedBy(c.type, c.payload)), c.eightBit420 ? OSType('2vuy') : OSType('r4fl'));
  }
  EXPECT_FALSE(isEightBit420Stream(nullptr));
  EXPECT_EQ(chooseFor(h264, nullptr), OSType('r4fl'));
  // An override that rules '2vuy' out wins over the stream's depth.
  EXPECT_EQ(chooseFor(codec('imdc', 'x2vy', anyDepth), DescribedBy('avcC', {1, 100, 0, 40, 0xFF, 0xE0, 0})),
            OSType('r4fl'));
  // A codec that does not offer '2vuy' is not given it.
  EXPECT_EQ(chooseFor(codec('imdc', 'none', {'r4fl'}), DescribedBy('avcC', {1, 100, 0, 40, 0xFF, 0xE0, 0})),
            OSType('r4fl'));
}
