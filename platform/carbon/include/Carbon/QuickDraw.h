// QuickDraw ports and offscreen graphics worlds: a port is the current drawing
// context; an offscreen world owns a pixel map of a given Core Video pixel format.
#pragma once

#include <Carbon/MacErrors.h>
#include <Carbon/MacTypes.h>

struct PixMap {
  Ptr baseAddr;
  SInt32 rowBytes;  // bytes per row (no flag bits kept here)
  Rect bounds;
  SInt16 pmVersion;
  SInt16 packType;
  SInt32 packSize;
  Fixed hRes;
  Fixed vRes;
  SInt16 pixelType;
  SInt16 pixelSize;  // bits per pixel
  SInt16 cmpCount;
  SInt16 cmpSize;
  OSType pixelFormat;
};
typedef PixMap* PixMapPtr;
typedef PixMapPtr* PixMapHandle;

struct OpaqueGrafPtr;
typedef OpaqueGrafPtr* GrafPtr;
typedef GrafPtr CGrafPtr;
typedef CGrafPtr GWorldPtr;
typedef GrafPtr WindowPtr;
typedef void* CTabHandle;
typedef void* GDHandle;
typedef UInt32 GWorldFlags;
typedef SInt16 QDErr;

CGrafPtr CreateNewPort();
void DisposePort(CGrafPtr port);
void SetPort(GrafPtr port);
void GetPort(GrafPtr* port);

// Creates an offscreen world whose pixels are in `pixelFormat` (32 for 8-bit
// ARGB, 'b64a', '2vuy', ...), rows padded to 16 bytes and cleared to zero.
QDErr QTNewGWorld(GWorldPtr* offscreenGWorld, OSType pixelFormat, const Rect* boundsRect, CTabHandle cTable,
                  GDHandle aGDevice, GWorldFlags flags);
QDErr QTNewGWorldFromPtr(GWorldPtr* offscreenGWorld, OSType pixelFormat, const Rect* boundsRect, CTabHandle cTable,
                         GDHandle aGDevice, GWorldFlags flags, void* baseAddr, long rowBytes);
QDErr NewGWorld(GWorldPtr* offscreenGWorld, SInt16 pixelDepth, const Rect* boundsRect, CTabHandle cTable,
                GDHandle aGDevice, GWorldFlags flags);
void DisposeGWorld(GWorldPtr offscreenWorld);
PixMapHandle GetGWorldPixMap(GWorldPtr offscreenGWorld);
PixMapHandle GetPortPixMap(CGrafPtr port);
Rect* GetPortBounds(CGrafPtr port, Rect* rect);
Boolean LockPixels(PixMapHandle pm);
void UnlockPixels(PixMapHandle pm);
Ptr GetPixBaseAddr(PixMapHandle pm);
long GetPixRowBytes(PixMapHandle pm);
SInt16 GetPixDepth(PixMapHandle pm);
void GetGWorld(CGrafPtr* port, GDHandle* gdh);
void SetGWorld(CGrafPtr port, GDHandle gdh);
QDErr QDError();

void SetRect(Rect* r, short left, short top, short right, short bottom);
void MacSetRect(Rect* r, short left, short top, short right, short bottom);

// Bits per pixel of the pixel formats an offscreen world can hold; 0 if unknown.
SInt16 VqtBitsPerPixelOfFormat(OSType pixelFormat);
