// Image description handles: the fixed part, the extension atoms after it, and
// the properties that are views of those extensions.
#include <QuickTime/ImageDescription.h>

#include <Carbon/TextUtils.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <type_traits>

#include "FileEntry.h"
#include "vqt/formats/ImageExtensions.h"
#include "vqt/formats/ImageFields.h"
#include "vqt/formats/ParameterSets.h"

using namespace vqt::description;
namespace formats = vqt::formats;

namespace {

constexpr size_t kFixedSize = sizeof(ImageDescription);
constexpr size_t kHeaderSize = offsetof(ImageDescription, version);  // size, type, reserved, data reference

struct ExtensionAtom {
  size_t offset;  // of the atom header within the handle
  size_t size;    // header included
  OSType type;
};

// The fields after idSize that every sample description starts with.
template <typename Desc, typename Visit>
void headerFields(Desc& d, Visit&& visit) {
  visit(d.cType);
  visit(d.resvd1);
  visit(d.resvd2);
  visit(d.dataRefIndex);
}

// The rest of the fixed part and the file's image fields (the shared layout)
// paired one to one but for the name: `move(handleField, fileField)` copies
// one way or the other.
template <typename Desc, typename Fields, typename Move>
void pairImageFields(Desc& d, Fields& f, Move&& move) {
  move(d.version, f.version);
  move(d.revisionLevel, f.revisionLevel);
  move(d.vendor, f.vendor);
  move(d.temporalQuality, f.temporalQuality);
  move(d.spatialQuality, f.spatialQuality);
  move(d.width, f.width);
  move(d.height, f.height);
  move(d.hRes, f.horizontalResolution);
  move(d.vRes, f.verticalResolution);
  move(d.dataSize, f.dataSize);
  move(d.frameCount, f.frameCount);
  move(d.depth, f.depth);
  move(d.clutID, f.colorTableId);
}

bool isValid(ImageDescriptionHandle desc) {
  return desc && *desc && GetHandleSize(reinterpret_cast<Handle>(desc)) >= Size(kFixedSize);
}

// The end of the extension area: idSize, bounded by what the handle holds.
size_t extensionEnd(ImageDescriptionHandle desc) { return usedSize(reinterpret_cast<Handle>(desc), kFixedSize); }

// Walks the extension atoms; stops at the first one whose size does not fit,
// so a damaged tail (or the 4-byte zero terminator some writers add) is ignored.
std::vector<ExtensionAtom> extensionAtoms(ImageDescriptionHandle desc) {
  std::vector<ExtensionAtom> atoms;
  const std::span bytes(reinterpret_cast<const UInt8*>(*desc), extensionEnd(desc));
  size_t at = kFixedSize;
  while (bytes.size() - at >= 8) {
    const UInt32 size = formats::loadU32(bytes, at);
    if (size < 8 || size > bytes.size() - at) break;
    atoms.push_back({at, size, formats::loadU32(bytes, at + 4)});
    at += size;
  }
  return atoms;
}

std::optional<ExtensionAtom> findExtension(ImageDescriptionHandle desc, OSType type, long index) {
  if (index < 1) return std::nullopt;
  for (const ExtensionAtom& atom : extensionAtoms(desc))
    if ((type == 0 || atom.type == type) && --index == 0) return atom;
  return std::nullopt;
}

std::vector<UInt8> payload(ImageDescriptionHandle desc, const ExtensionAtom& atom) {
  const auto* base = reinterpret_cast<const UInt8*>(*desc) + atom.offset + 8;
  return std::vector<UInt8>(base, base + atom.size - 8);
}

// Drops everything after the last well-formed extension, then appends one.
OSErr appendExtension(ImageDescriptionHandle desc, OSType type, const UInt8* data, size_t length) {
  auto atoms = extensionAtoms(desc);
  const size_t end = atoms.empty() ? kFixedSize : atoms.back().offset + atoms.back().size;
  if (length > 0x7FFFFFFF - 8 - end) return paramErr;
  const Handle h = reinterpret_cast<Handle>(desc);
  SetHandleSize(h, end + 8 + length);
  if (OSErr err = MemError()) return err;
  formats::ByteWriter header;
  header.u32(UInt32(8 + length));
  header.u32(type);
  auto* base = reinterpret_cast<UInt8*>(*h);
  std::memcpy(base + end, header.data().data(), 8);
  if (length) std::memcpy(base + end + 8, data, length);
  (*desc)->idSize = SInt32(end + 8 + length);
  return noErr;
}

OSErr removeExtensionAt(ImageDescriptionHandle desc, const ExtensionAtom& atom) {
  const Handle h = reinterpret_cast<Handle>(desc);
  const size_t end = extensionEnd(desc);
  auto* base = reinterpret_cast<UInt8*>(*h);
  std::memmove(base + atom.offset, base + atom.offset + atom.size, end - atom.offset - atom.size);
  const size_t newEnd = end - atom.size;
  SetHandleSize(h, newEnd);
  (*desc)->idSize = SInt32(newEnd);
  return MemError();
}

OSErr replaceExtension(ImageDescriptionHandle desc, OSType type, const std::vector<UInt8>& data) {
  while (auto atom = findExtension(desc, type, 1))
    if (OSErr err = removeExtensionAt(desc, *atom)) return err;
  return appendExtension(desc, type, data.data(), data.size());
}

// How each property maps to the description: its size and value type.
struct PropertyShape {
  QTPropertyID id;
  ByteCount size;
  QTPropertyValueType valueType;
};
constexpr PropertyShape kProperties[] = {
    {kICMImageDescriptionPropertyID_PixelAspectRatio, sizeof(PixelAspectRatioImageDescriptionExtension), 'pasp'},
    {kICMImageDescriptionPropertyID_NCLCColorInfo, sizeof(NCLCColorInfoImageDescriptionExtension), 'nclc'},
    {kICMImageDescriptionPropertyID_FieldInfo, sizeof(FieldInfoImageDescriptionExtension2), 'fiel'},
    {kICMImageDescriptionPropertyID_CleanAperture, sizeof(CleanApertureImageDescriptionExtension), 'clap'},
    {kICMImageDescriptionPropertyID_GammaLevel, sizeof(Fixed), kQTPropertyValueTypeFixed},
    {kICMImageDescriptionPropertyID_EncodedWidth, sizeof(SInt32), kQTPropertyValueTypeSInt32},
    {kICMImageDescriptionPropertyID_EncodedHeight, sizeof(SInt32), kQTPropertyValueTypeSInt32},
};

const PropertyShape* shapeOf(QTPropertyClass propClass, QTPropertyID propID) {
  if (propClass != kQTPropertyClass_ImageDescription) return nullptr;
  for (const PropertyShape& shape : kProperties)
    if (shape.id == propID) return &shape;
  return nullptr;
}

// The first 'colr' extension that carries an 'nclc' triple, if any.
std::optional<formats::ColourInfo> nclcColour(ImageDescriptionHandle desc) {
  for (long i = 1;; ++i) {
    auto atom = findExtension(desc, kColorInfoImageDescriptionExtension, i);
    if (!atom) return std::nullopt;
    auto colour = formats::parseColr(payload(desc, *atom));
    if (colour && colour->colourType == kVideoColorInfoImageDescriptionExtensionType) return colour;
  }
}

}  // namespace

OSStatus ICMImageDescriptionGetPropertyInfo(ImageDescriptionHandle desc, QTPropertyClass propClass, QTPropertyID propID,
                                            QTPropertyValueType* propType, ByteCount* propValueSize,
                                            UInt32* propertyFlags) {
  if (!isValid(desc)) return paramErr;
  const PropertyShape* shape = shapeOf(propClass, propID);
  if (!shape) return kQTPropertyNotSupportedErr;
  if (propType) *propType = shape->valueType;
  if (propValueSize) *propValueSize = shape->size;
  if (propertyFlags) *propertyFlags = kComponentPropertyFlagCanGetNow | kComponentPropertyFlagCanSetNow;
  return noErr;
}

OSStatus ICMImageDescriptionGetProperty(ImageDescriptionHandle desc, QTPropertyClass propClass, QTPropertyID propID,
                                        ByteCount propValueSize, QTPropertyValuePtr propValueAddress,
                                        ByteCount* sizeUsed) {
  if (!isValid(desc) || !propValueAddress) return paramErr;
  const PropertyShape* shape = shapeOf(propClass, propID);
  if (!shape) return kQTPropertyNotSupportedErr;
  if (propValueSize < shape->size) return kQTPropertyBadValueSizeErr;

  auto extension = [&](OSType type) -> std::optional<std::vector<UInt8>> {
    auto atom = findExtension(desc, type, 1);
    if (!atom) return std::nullopt;
    return payload(desc, *atom);
  };

  switch (propID) {
    case kICMImageDescriptionPropertyID_PixelAspectRatio: {
      // No 'pasp' extension means square pixels.
      formats::PixelAspectRatio pasp;
      if (auto bytes = extension(kPixelAspectRatioImageDescriptionExtension))
        pasp = formats::parsePasp(*bytes).value_or(pasp);
      const PixelAspectRatioImageDescriptionExtension value{pasp.hSpacing, pasp.vSpacing};
      std::memcpy(propValueAddress, &value, sizeof value);
      break;
    }
    case kICMImageDescriptionPropertyID_NCLCColorInfo: {
      auto colour = nclcColour(desc);
      if (!colour) return codecExtensionNotFoundErr;
      const NCLCColorInfoImageDescriptionExtension value{colour->colourType, colour->primaries, colour->transfer,
                                                         colour->matrix};
      std::memcpy(propValueAddress, &value, sizeof value);
      break;
    }
    case kICMImageDescriptionPropertyID_FieldInfo: {
      auto bytes = extension(kFieldInfoImageDescriptionExtension);
      auto fields = bytes ? formats::parseFiel(*bytes) : std::nullopt;
      if (!fields) return codecExtensionNotFoundErr;
      const FieldInfoImageDescriptionExtension2 value{fields->fields, fields->detail};
      std::memcpy(propValueAddress, &value, sizeof value);
      break;
    }
    case kICMImageDescriptionPropertyID_CleanAperture: {
      // No 'clap' extension means the whole encoded picture is clean.
      formats::CleanAperture clap{.widthN = UInt32((*desc)->width), .heightN = UInt32((*desc)->height)};
      if (auto bytes = extension(kCleanApertureImageDescriptionExtension))
        clap = formats::parseClap(*bytes).value_or(clap);
      const CleanApertureImageDescriptionExtension value{clap.widthN,    clap.widthD,    clap.heightN,  clap.heightD,
                                                         clap.horizOffN, clap.horizOffD, clap.vertOffN, clap.vertOffD};
      std::memcpy(propValueAddress, &value, sizeof value);
      break;
    }
    case kICMImageDescriptionPropertyID_GammaLevel: {
      auto bytes = extension(kGammaLevelImageDescriptionExtension);
      if (!bytes || bytes->size() < 4) return codecExtensionNotFoundErr;
      const Fixed value = Fixed(formats::loadU32(*bytes));
      std::memcpy(propValueAddress, &value, sizeof value);
      break;
    }
    case kICMImageDescriptionPropertyID_EncodedWidth:
    case kICMImageDescriptionPropertyID_EncodedHeight: {
      const SInt32 value = propID == kICMImageDescriptionPropertyID_EncodedWidth ? (*desc)->width : (*desc)->height;
      std::memcpy(propValueAddress, &value, sizeof value);
      break;
    }
  }
  if (sizeUsed) *sizeUsed = shape->size;
  return noErr;
}

OSStatus ICMImageDescriptionSetProperty(ImageDescriptionHandle desc, QTPropertyClass propClass, QTPropertyID propID,
                                        ByteCount propValueSize, ConstQTPropertyValuePtr propValueAddress) {
  if (!isValid(desc) || !propValueAddress) return paramErr;
  const PropertyShape* shape = shapeOf(propClass, propID);
  if (!shape) return kQTPropertyNotSupportedErr;
  if (propValueSize != shape->size) return kQTPropertyBadValueSizeErr;

  switch (propID) {
    case kICMImageDescriptionPropertyID_PixelAspectRatio: {
      PixelAspectRatioImageDescriptionExtension value;
      std::memcpy(&value, propValueAddress, sizeof value);
      return replaceExtension(desc, kPixelAspectRatioImageDescriptionExtension,
                              formats::writePasp({value.hSpacing, value.vSpacing}));
    }
    case kICMImageDescriptionPropertyID_NCLCColorInfo: {
      NCLCColorInfoImageDescriptionExtension value;
      std::memcpy(&value, propValueAddress, sizeof value);
      return replaceExtension(desc, kColorInfoImageDescriptionExtension,
                              formats::writeColr({kVideoColorInfoImageDescriptionExtensionType, value.primaries,
                                                  value.transferFunction, value.matrix}));
    }
    case kICMImageDescriptionPropertyID_FieldInfo: {
      FieldInfoImageDescriptionExtension2 value;
      std::memcpy(&value, propValueAddress, sizeof value);
      return replaceExtension(desc, kFieldInfoImageDescriptionExtension,
                              formats::writeFiel({value.fields, value.detail}));
    }
    case kICMImageDescriptionPropertyID_CleanAperture: {
      CleanApertureImageDescriptionExtension value;
      std::memcpy(&value, propValueAddress, sizeof value);
      return replaceExtension(desc, kCleanApertureImageDescriptionExtension,
                              formats::writeClap({value.cleanApertureWidthN, value.cleanApertureWidthD,
                                                  value.cleanApertureHeightN, value.cleanApertureHeightD,
                                                  value.horizOffN, value.horizOffD, value.vertOffN, value.vertOffD}));
    }
    case kICMImageDescriptionPropertyID_GammaLevel: {
      Fixed value;
      std::memcpy(&value, propValueAddress, sizeof value);
      formats::ByteWriter gamma;
      gamma.u32(UInt32(value));
      return replaceExtension(desc, kGammaLevelImageDescriptionExtension, gamma.data());
    }
    case kICMImageDescriptionPropertyID_EncodedWidth:
    case kICMImageDescriptionPropertyID_EncodedHeight: {
      SInt32 value;
      std::memcpy(&value, propValueAddress, sizeof value);
      if (value < 0 || value > 0x7FFF) return paramErr;
      (propID == kICMImageDescriptionPropertyID_EncodedWidth ? (*desc)->width : (*desc)->height) = SInt16(value);
      return noErr;
    }
  }
  return kQTPropertyNotSupportedErr;
}

OSErr AddImageDescriptionExtension(ImageDescriptionHandle desc, Handle extension, long idType) {
  if (!isValid(desc) || !extension) return paramErr;
  const Size size = GetHandleSize(extension);
  return appendExtension(desc, OSType(idType), reinterpret_cast<const UInt8*>(*extension), size_t(size));
}

OSErr GetImageDescriptionExtension(ImageDescriptionHandle desc, Handle* extension, long idType, long index) {
  if (!isValid(desc) || !extension) return paramErr;
  *extension = nullptr;
  auto atom = findExtension(desc, OSType(idType), index);
  if (!atom) return codecExtensionNotFoundErr;
  const auto bytes = payload(desc, *atom);
  return PtrToHand(bytes.data(), extension, long(bytes.size()));
}

OSErr CountImageDescriptionExtensionType(ImageDescriptionHandle desc, long idType, long* count) {
  if (!isValid(desc) || !count) return paramErr;
  const auto atoms = extensionAtoms(desc);
  *count = std::count_if(atoms.begin(), atoms.end(),
                         [&](const ExtensionAtom& atom) { return idType == 0 || atom.type == OSType(idType); });
  return noErr;
}

// An index of 0 removes every extension of the type.
OSErr RemoveImageDescriptionExtension(ImageDescriptionHandle desc, long idType, long index) {
  if (!isValid(desc) || index < 0) return paramErr;
  if (index == 0) {
    bool removed = false;
    while (auto atom = findExtension(desc, OSType(idType), 1)) {
      if (OSErr err = removeExtensionAt(desc, *atom)) return err;
      removed = true;
    }
    return removed ? noErr : codecExtensionNotFoundErr;
  }
  auto atom = findExtension(desc, OSType(idType), index);
  if (!atom) return codecExtensionNotFoundErr;
  return removeExtensionAt(desc, *atom);
}

// Moves *idType to the type of the extension that follows the first extension
// of type *idType (0: the first extension's type); 0 when there is none.
OSErr GetNextImageDescriptionExtensionType(ImageDescriptionHandle desc, long* idType) {
  if (!isValid(desc) || !idType) return paramErr;
  const auto atoms = extensionAtoms(desc);
  size_t next = 0;
  if (*idType != 0) {
    auto it =
        std::find_if(atoms.begin(), atoms.end(), [&](const ExtensionAtom& a) { return a.type == OSType(*idType); });
    next = it == atoms.end() ? atoms.size() : size_t(it - atoms.begin()) + 1;
  }
  *idType = next < atoms.size() ? long(atoms[next].type) : 0;
  return noErr;
}

ImageDescriptionHandle VqtNewImageDescription(CodecType codec, SInt16 width, SInt16 height) {
  auto desc = reinterpret_cast<ImageDescriptionHandle>(NewHandleClear(kFixedSize));
  if (!desc) return nullptr;
  ImageDescription& d = **desc;
  d.idSize = kFixedSize;
  d.cType = codec;
  d.width = width;
  d.height = height;
  d.hRes = d.vRes = Long2Fix(72);
  d.frameCount = 1;
  d.depth = 24;
  d.clutID = -1;
  return desc;
}

OSErr VqtImageDescriptionFromFile(const UInt8* bytes, size_t length, ImageDescriptionHandle* desc) {
  return handleFromFile(bytes, length, kFixedSize, desc, [&](ImageDescription& d, FieldReader read) {
    headerFields(d, read);
    formats::ByteReader in({bytes + kHeaderSize, length - kHeaderSize});
    formats::ImageFields fields;
    formats::parseImageFields(in, fields);  // the entry holds them: its length was checked
    pairImageFields(d, fields,
                    [](auto& handle, const auto& file) { handle = std::remove_cvref_t<decltype(handle)>(file); });
    std::memcpy(d.name, fields.compressorName.data(), sizeof d.name);
    d.name[0] = std::min<UInt8>(d.name[0], 31);
  });
}

std::vector<UInt8> VqtImageDescriptionToFile(ImageDescriptionHandle desc) {
  return entryFromHandle(desc, kFixedSize, [](const ImageDescription& d, FieldWriter write) {
    headerFields(d, write);
    formats::ImageFields fields;
    pairImageFields(d, fields,
                    [](const auto& handle, auto& file) { file = std::remove_cvref_t<decltype(file)>(handle); });
    std::memcpy(fields.compressorName.data(), d.name, sizeof d.name);
    formats::writeImageFields(write.out(), fields);
  });
}

Boolean VqtImageDescriptionIsEightBit420(ImageDescriptionHandle desc) {
  auto payload = [&](long type) -> std::optional<std::vector<UInt8>> {
    Handle extension = nullptr;
    if (GetImageDescriptionExtension(desc, &extension, type, 1) != noErr || extension == nullptr) return std::nullopt;
    const auto* bytes = reinterpret_cast<const UInt8*>(*extension);
    std::vector<UInt8> copy(bytes, bytes + std::max<Size>(GetHandleSize(extension), 0));
    DisposeHandle(extension);
    return copy;
  };
  if (desc == nullptr) return false;
  if (const auto avc = payload('avcC')) {
    const auto config = vqt::formats::parseAvcConfig(*avc);
    return config && vqt::formats::isEightBit420(*config);
  }
  if (const auto hevc = payload('hvcC')) {
    const auto config = vqt::formats::parseHevcConfig(*hevc);
    return config && vqt::formats::isEightBit420(*config);
  }
  return false;
}
