// Pixel format codes of Core Video, and the same codes under the names
// QuickTime's image compression calls use.
#pragma once

#include <Carbon/MacTypes.h>

enum : OSType {
  kCVPixelFormatType_32ARGB = 0x00000020,  // bytes A, R, G, B
  kCVPixelFormatType_24RGB = 0x00000018,
  kCVPixelFormatType_32BGRA = 'BGRA',
  kCVPixelFormatType_48RGB = 'b48r',               // 16-bit big-endian R, G, B
  kCVPixelFormatType_64ARGB = 'b64a',              // 16-bit big-endian A, R, G, B
  kCVPixelFormatType_422YpCbCr8 = '2vuy',          // Cb, Y'0, Cr, Y'1
  kCVPixelFormatType_422YpCbCr8_yuvs = 'yuvs',     // Y'0, Cb, Y'1, Cr
  kCVPixelFormatType_4444YpCbCrA8R = 'r408',       // A, Y' (0..219), Cb, Cr
  kCVPixelFormatType_4444AYpCbCrFloat32 = 'r4fl',  // floats A, Y', Cb, Cr
  kCVPixelFormatType_422YpCbCr10 = 'v210',
};

enum : OSType {
  k32ARGBPixelFormat = kCVPixelFormatType_32ARGB,
  k24RGBPixelFormat = kCVPixelFormatType_24RGB,
  k32BGRAPixelFormat = kCVPixelFormatType_32BGRA,
  k48RGBPixelFormat = kCVPixelFormatType_48RGB,
  k64ARGBPixelFormat = kCVPixelFormatType_64ARGB,
  k2vuyPixelFormat = kCVPixelFormatType_422YpCbCr8,
  kYUVSPixelFormat = kCVPixelFormatType_422YpCbCr8_yuvs,
  k4444YpCbCrA8RPixelFormat = kCVPixelFormatType_4444YpCbCrA8R,
  k4444YpCbCrA32RPixelFormat = kCVPixelFormatType_4444AYpCbCrFloat32,
  k422YpCbCr10CodecType = kCVPixelFormatType_422YpCbCr10,
};
