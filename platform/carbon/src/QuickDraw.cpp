// Ports and offscreen worlds are plain objects: a port remembers its bounds and
// pixel map; an offscreen world additionally owns (or borrows) its pixel memory.
#include <Carbon/QuickDraw.h>

#include <cstdlib>
#include <cstring>
#include <new>

struct OpaqueGrafPtr {
  PixMap pixMap{};
  PixMapPtr pixMapPtr = &pixMap;
  bool ownsPixels = false;
};

namespace {

thread_local GrafPtr currentPort = nullptr;
thread_local QDErr lastError = noErr;

struct FormatBits {
  OSType format;
  SInt16 bits;
};

// Pixel formats an offscreen world may be created in.
constexpr FormatBits kFormatBits[] = {
    {1, 1},       {2, 2},       {4, 4},       {8, 8},       {16, 16},      {24, 24},     {32, 32},     {'b64a', 64},
    {'b48r', 48}, {'2vuy', 16}, {'yuvs', 16}, {'r408', 32}, {'r4fl', 128}, {'BGRA', 32}, {'RGBA', 32}, {'ABGR', 32},
};

void initPixMap(PixMap& pm, OSType format, SInt16 bits, const Rect& bounds, Ptr base, long rowBytes) {
  std::memset(&pm, 0, sizeof pm);
  pm.baseAddr = base;
  pm.rowBytes = static_cast<SInt32>(rowBytes);
  pm.bounds = bounds;
  pm.hRes = pm.vRes = Long2Fix(72);
  pm.pixelType = 16;  // direct pixels
  pm.pixelSize = bits;
  pm.cmpCount = bits >= 32 ? 4 : 3;
  pm.cmpSize = bits >= 64 ? 16 : 8;
  pm.pixelFormat = format;
}

}  // namespace

SInt16 VqtBitsPerPixelOfFormat(OSType pixelFormat) {
  for (const FormatBits& entry : kFormatBits)
    if (entry.format == pixelFormat) return entry.bits;
  return 0;
}

CGrafPtr CreateNewPort() {
  auto* port = new (std::nothrow) OpaqueGrafPtr;
  lastError = port ? noErr : memFullErr;
  return port;
}

void DisposePort(CGrafPtr port) {
  if (!port) return;
  if (currentPort == port) currentPort = nullptr;
  if (port->ownsPixels) std::free(port->pixMap.baseAddr);
  delete port;
}

void SetPort(GrafPtr port) { currentPort = port; }
void GetPort(GrafPtr* port) {
  if (port) *port = currentPort;
}

QDErr QTNewGWorldFromPtr(GWorldPtr* offscreenGWorld, OSType pixelFormat, const Rect* boundsRect, CTabHandle, GDHandle,
                         GWorldFlags, void* baseAddr, long rowBytes) {
  if (!offscreenGWorld || !boundsRect) return lastError = paramErr;
  *offscreenGWorld = nullptr;
  const long width = long(boundsRect->right) - boundsRect->left;
  const long height = long(boundsRect->bottom) - boundsRect->top;
  const SInt16 bits = VqtBitsPerPixelOfFormat(pixelFormat);
  if (width <= 0 || height <= 0 || bits == 0) return lastError = paramErr;
  if (rowBytes < (width * bits + 7) / 8) return lastError = paramErr;
  auto* world = new (std::nothrow) OpaqueGrafPtr;
  if (!world) return lastError = memFullErr;
  initPixMap(world->pixMap, pixelFormat, bits, *boundsRect, static_cast<Ptr>(baseAddr), rowBytes);
  *offscreenGWorld = world;
  return lastError = noErr;
}

QDErr QTNewGWorld(GWorldPtr* offscreenGWorld, OSType pixelFormat, const Rect* boundsRect, CTabHandle cTable,
                  GDHandle aGDevice, GWorldFlags flags) {
  if (!offscreenGWorld || !boundsRect) return lastError = paramErr;
  *offscreenGWorld = nullptr;
  const long width = long(boundsRect->right) - boundsRect->left;
  const long height = long(boundsRect->bottom) - boundsRect->top;
  const SInt16 bits = VqtBitsPerPixelOfFormat(pixelFormat);
  if (width <= 0 || height <= 0 || bits == 0) return lastError = paramErr;
  const long rowBytes = ((width * bits + 7) / 8 + 15) & ~15L;
  void* pixels = std::calloc(static_cast<size_t>(height), static_cast<size_t>(rowBytes));
  if (!pixels) return lastError = memFullErr;
  QDErr err = QTNewGWorldFromPtr(offscreenGWorld, pixelFormat, boundsRect, cTable, aGDevice, flags, pixels, rowBytes);
  if (err) {
    std::free(pixels);
    return err;
  }
  (*offscreenGWorld)->ownsPixels = true;
  return noErr;
}

QDErr NewGWorld(GWorldPtr* offscreenGWorld, SInt16 pixelDepth, const Rect* boundsRect, CTabHandle cTable,
                GDHandle aGDevice, GWorldFlags flags) {
  // Depth 0 means "as deep as the screen": 32-bit ARGB here.
  return QTNewGWorld(offscreenGWorld, pixelDepth ? OSType(pixelDepth) : 32, boundsRect, cTable, aGDevice, flags);
}

void DisposeGWorld(GWorldPtr offscreenWorld) { DisposePort(offscreenWorld); }

PixMapHandle GetGWorldPixMap(GWorldPtr offscreenGWorld) {
  return offscreenGWorld ? &offscreenGWorld->pixMapPtr : nullptr;
}
PixMapHandle GetPortPixMap(CGrafPtr port) { return GetGWorldPixMap(port); }

Rect* GetPortBounds(CGrafPtr port, Rect* rect) {
  if (port && rect) *rect = port->pixMap.bounds;
  return rect;
}

Boolean LockPixels(PixMapHandle pm) { return pm && *pm && (*pm)->baseAddr; }
void UnlockPixels(PixMapHandle) {}
Ptr GetPixBaseAddr(PixMapHandle pm) { return pm && *pm ? (*pm)->baseAddr : nullptr; }
long GetPixRowBytes(PixMapHandle pm) { return pm && *pm ? (*pm)->rowBytes : 0; }
SInt16 GetPixDepth(PixMapHandle pm) { return pm && *pm ? (*pm)->pixelSize : 0; }

void GetGWorld(CGrafPtr* port, GDHandle* gdh) {
  if (port) *port = currentPort;
  if (gdh) *gdh = nullptr;
}
void SetGWorld(CGrafPtr port, GDHandle) { currentPort = port; }

QDErr QDError() { return lastError; }

void SetRect(Rect* r, short left, short top, short right, short bottom) {
  if (!r) return;
  r->left = left;
  r->top = top;
  r->right = right;
  r->bottom = bottom;
}
void MacSetRect(Rect* r, short left, short top, short right, short bottom) { SetRect(r, left, top, right, bottom); }
