#include <QuickTime/ImageCompression.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>

namespace {

ICMPixelFormatInfo chunky(SInt32 bitsPerPixel, UInt32 flags, SInt32 horizontalSubsampling = 1) {
  ICMPixelFormatInfo info{};
  info.size = sizeof(ICMPixelFormatInfo);
  info.formatFlags = flags;
  info.bitsPerPixel[0] = bitsPerPixel;
  info.defaultGammaLevel = 0x00023333;  // 2.2: video formats
  info.horizontalSubsampling[0] = horizontalSubsampling;
  info.verticalSubsampling[0] = 1;
  return info;
}

struct FormatTable {
  std::mutex mutex;
  std::map<OSType, ICMPixelFormatInfo> builtIn;
  std::map<OSType, ICMPixelFormatInfo> registered;

  FormatTable() {
    builtIn[k32ARGBPixelFormat] = chunky(32, kICMPixelFormatIsSupportedByQD | kICMPixelFormatHasAlphaChannel);
    builtIn[k24RGBPixelFormat] = chunky(24, kICMPixelFormatIsSupportedByQD);
    builtIn[k32BGRAPixelFormat] = chunky(32, kICMPixelFormatHasAlphaChannel);
    builtIn[k48RGBPixelFormat] = chunky(48, 0);
    builtIn[k64ARGBPixelFormat] = chunky(64, kICMPixelFormatHasAlphaChannel);
    builtIn[k2vuyPixelFormat] = chunky(16, 0, 2);
    builtIn[kYUVSPixelFormat] = chunky(16, 0, 2);
    builtIn[k4444YpCbCrA8RPixelFormat] = chunky(32, kICMPixelFormatHasAlphaChannel);
    builtIn[k422YpCbCr10CodecType] = chunky(20, 0, 2);
    // 'r4fl' is not built in: a client registers it (128 bits a pixel) before use.
  }
};

FormatTable& formats() {
  static FormatTable table;
  return table;
}

}  // namespace

OSErr ICMGetPixelFormatInfo(OSType pixelFormat, ICMPixelFormatInfoPtr theInfo) {
  if (theInfo == nullptr || theInfo->size < 8) return paramErr;
  FormatTable& table = formats();
  std::lock_guard lock(table.mutex);
  const ICMPixelFormatInfo* found = nullptr;
  if (auto it = table.builtIn.find(pixelFormat); it != table.builtIn.end()) found = &it->second;
  if (auto it = table.registered.find(pixelFormat); it != table.registered.end()) found = &it->second;
  if (found == nullptr) return paramErr;
  const UInt32 size = theInfo->size;
  std::memcpy(theInfo, found, std::min<std::size_t>(size, sizeof(ICMPixelFormatInfo)));
  theInfo->size = size;
  return noErr;
}

OSErr ICMSetPixelFormatInfo(OSType pixelFormat, ICMPixelFormatInfoPtr theInfo) {
  if (theInfo == nullptr || theInfo->size < 8) return paramErr;
  FormatTable& table = formats();
  std::lock_guard lock(table.mutex);
  if (table.builtIn.count(pixelFormat) != 0) return paramErr;
  ICMPixelFormatInfo info{};
  std::memcpy(&info, theInfo, std::min<std::size_t>(theInfo->size, sizeof(ICMPixelFormatInfo)));
  info.size = sizeof(ICMPixelFormatInfo);
  table.registered[pixelFormat] = info;
  return noErr;
}
