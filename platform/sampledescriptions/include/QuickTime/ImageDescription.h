// Image descriptions: how the frames of a video track are coded. The fixed
// part is host-endian; codec extensions (avcC, pasp, colr, fiel, ...) follow it
// in the same handle as big-endian atoms, exactly as they stand in a movie file.
#pragma once

#include <Carbon/MacMemory.h>
#include <QuickTime/QTProperties.h>

#include <cstdint>
#include <vector>

typedef OSType CodecType;
typedef UInt32 CodecQ;
typedef UInt16 CodecFlags;

constexpr CodecQ codecMinQuality = 0x000;
constexpr CodecQ codecLowQuality = 0x100;
constexpr CodecQ codecNormalQuality = 0x200;
constexpr CodecQ codecHighQuality = 0x300;
constexpr CodecQ codecMaxQuality = 0x3FF;
constexpr CodecQ codecLosslessQuality = 0x400;

#pragma pack(push, 2)
struct ImageDescription {
  SInt32 idSize;  // the fixed part plus all extensions
  CodecType cType;
  SInt32 resvd1;
  SInt16 resvd2;
  SInt16 dataRefIndex;
  SInt16 version;
  SInt16 revisionLevel;
  SInt32 vendor;
  CodecQ temporalQuality;
  CodecQ spatialQuality;
  SInt16 width;
  SInt16 height;
  Fixed hRes;
  Fixed vRes;
  SInt32 dataSize;
  SInt16 frameCount;
  Str31 name;
  SInt16 depth;
  SInt16 clutID;
};
#pragma pack(pop)
static_assert(sizeof(ImageDescription) == 86, "image descriptions are 86 bytes before their extensions");

typedef ImageDescription* ImageDescriptionPtr;
typedef ImageDescriptionPtr* ImageDescriptionHandle;

// Extension payloads, host-endian.
struct PixelAspectRatioImageDescriptionExtension {
  UInt32 hSpacing;
  UInt32 vSpacing;
};
struct NCLCColorInfoImageDescriptionExtension {
  OSType colorParamType;  // 'nclc'
  UInt16 primaries;
  UInt16 transferFunction;
  UInt16 matrix;
};
struct FieldInfoImageDescriptionExtension2 {
  UInt8 fields;
  UInt8 detail;
};
struct CleanApertureImageDescriptionExtension {
  UInt32 cleanApertureWidthN;
  UInt32 cleanApertureWidthD;
  UInt32 cleanApertureHeightN;
  UInt32 cleanApertureHeightD;
  SInt32 horizOffN;
  UInt32 horizOffD;
  SInt32 vertOffN;
  UInt32 vertOffD;
};

constexpr OSType kColorInfoImageDescriptionExtension = 'colr';
constexpr OSType kPixelAspectRatioImageDescriptionExtension = 'pasp';
constexpr OSType kCleanApertureImageDescriptionExtension = 'clap';
constexpr OSType kFieldInfoImageDescriptionExtension = 'fiel';
constexpr OSType kGammaLevelImageDescriptionExtension = 'gama';
constexpr OSType kVideoColorInfoImageDescriptionExtensionType = 'nclc';

constexpr QTPropertyClass kQTPropertyClass_ImageDescription = 'idsc';
constexpr QTPropertyID kICMImageDescriptionPropertyID_PixelAspectRatio = 'pasp';
constexpr QTPropertyID kICMImageDescriptionPropertyID_NCLCColorInfo = 'nclc';
constexpr QTPropertyID kICMImageDescriptionPropertyID_FieldInfo = 'fiel';
constexpr QTPropertyID kICMImageDescriptionPropertyID_CleanAperture = 'clap';
constexpr QTPropertyID kICMImageDescriptionPropertyID_GammaLevel = 'gama';
constexpr QTPropertyID kICMImageDescriptionPropertyID_EncodedWidth = 'encw';
constexpr QTPropertyID kICMImageDescriptionPropertyID_EncodedHeight = 'ench';

// Standard color parameter values used in 'nclc' extensions.
constexpr UInt16 kQTPrimaries_ITU_R709_2 = 1;
constexpr UInt16 kQTPrimaries_Unknown = 2;
constexpr UInt16 kQTPrimaries_EBU_3213 = 5;
constexpr UInt16 kQTPrimaries_SMPTE_C = 6;
constexpr UInt16 kQTTransferFunction_ITU_R709_2 = 1;
constexpr UInt16 kQTTransferFunction_Unknown = 2;
constexpr UInt16 kQTTransferFunction_SMPTE_240M_1995 = 7;
constexpr UInt16 kQTMatrix_ITU_R_709_2 = 1;
constexpr UInt16 kQTMatrix_Unknown = 2;
constexpr UInt16 kQTMatrix_ITU_R_601_4 = 6;
constexpr UInt16 kQTMatrix_SMPTE_240M_1995 = 7;

OSStatus ICMImageDescriptionGetPropertyInfo(ImageDescriptionHandle desc, QTPropertyClass propClass, QTPropertyID propID,
                                            QTPropertyValueType* propType, ByteCount* propValueSize,
                                            UInt32* propertyFlags);
OSStatus ICMImageDescriptionGetProperty(ImageDescriptionHandle desc, QTPropertyClass propClass, QTPropertyID propID,
                                        ByteCount propValueSize, QTPropertyValuePtr propValueAddress,
                                        ByteCount* sizeUsed);
OSStatus ICMImageDescriptionSetProperty(ImageDescriptionHandle desc, QTPropertyClass propClass, QTPropertyID propID,
                                        ByteCount propValueSize, ConstQTPropertyValuePtr propValueAddress);

// Extensions are counted from 1 within their type. The extension handle holds
// the atom's payload (without its 8-byte header).
OSErr AddImageDescriptionExtension(ImageDescriptionHandle desc, Handle extension, long idType);
OSErr GetImageDescriptionExtension(ImageDescriptionHandle desc, Handle* extension, long idType, long index);
OSErr CountImageDescriptionExtensionType(ImageDescriptionHandle desc, long idType, long* count);
OSErr RemoveImageDescriptionExtension(ImageDescriptionHandle desc, long idType, long index);
OSErr GetNextImageDescriptionExtensionType(ImageDescriptionHandle desc, long* idType);

// A new image description handle with the fixed part filled in for `codec`
// (version 0, 72 dpi, depth 24, no extensions).
ImageDescriptionHandle VqtNewImageDescription(CodecType codec, SInt16 width, SInt16 height);
// Builds a handle from an 'stsd' entry as stored in a file (big-endian fixed
// part followed by extension atoms); paramErr when the entry is too short.
OSErr VqtImageDescriptionFromFile(const UInt8* bytes, size_t length, ImageDescriptionHandle* desc);
// The 'stsd' entry bytes of a handle (big-endian, extensions after the fixed part).
std::vector<UInt8> VqtImageDescriptionToFile(ImageDescriptionHandle desc);
// True when the description's 'avcC' or 'hvcC' says the stream is 8-bit 4:2:0
// throughout (H.264 Baseline, Main, Extended or High; HEVC 4:2:0 at 8 bits);
// false without one, or with one that does not parse.
Boolean VqtImageDescriptionIsEightBit420(ImageDescriptionHandle desc);
