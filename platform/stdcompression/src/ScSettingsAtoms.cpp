#include "ScSettingsAtoms.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vqt::sc {
namespace {

// Top-level atoms, each a leaf with ID 1 and big-endian fields. Version 1:
constexpr QTAtomType kVersionAtom = 'vers';      // UInt32 layout version, OSType instance kind
constexpr QTAtomType kSpatialAtom = 'sptl';      // codec type, codec manufacturer (0: any), SInt16 depth, quality
constexpr QTAtomType kTemporalAtom = 'tprl';     // temporal quality, Fixed frame rate, SInt32 key frame rate
constexpr QTAtomType kDataRateAtom = 'drat';     // data rate, frame duration, min spatial, min temporal quality
constexpr QTAtomType kSoundFormatAtom = 'ssct';  // OSType
constexpr QTAtomType kSampleRateAtom = 'ssrt';   // UnsignedFixed
constexpr QTAtomType kSampleSizeAtom = 'sssz';   // SInt16
constexpr QTAtomType kChannelsAtom = 'sscc';     // SInt16
constexpr QTAtomID kAtomID = 1;

class Writer {
 public:
  Writer& u32(UInt32 v) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes_.push_back(UInt8(v >> shift));
    return *this;
  }
  Writer& u16(UInt16 v) {
    bytes_.push_back(UInt8(v >> 8));
    bytes_.push_back(UInt8(v));
    return *this;
  }
  const std::vector<UInt8>& bytes() const { return bytes_; }

 private:
  std::vector<UInt8> bytes_;
};

class Reader {
 public:
  explicit Reader(const std::vector<UInt8>& bytes) : bytes_(bytes) {}
  UInt32 u32() {
    UInt32 v = 0;
    for (int i = 0; i < 4; ++i) v = (v << 8) | bytes_[at_++];
    return v;
  }
  UInt16 u16() {
    const UInt16 v = UInt16((bytes_[at_] << 8) | bytes_[at_ + 1]);
    at_ += 2;
    return v;
  }

 private:
  const std::vector<UInt8>& bytes_;
  std::size_t at_ = 0;
};

OSErr addAtom(QTAtomContainer container, QTAtomType type, const Writer& data) {
  const auto& bytes = data.bytes();
  return QTInsertChild(container, kParentAtomIsContainer, type, kAtomID, 0, SInt32(bytes.size()), bytes.data(),
                       nullptr);
}

// The data of the one top-level atom of `type`, which must be exactly `size` bytes. `present`
// says whether there is one; two of a type, or a wrong size, make the container unacceptable.
OSErr readAtom(QTAtomContainer container, QTAtomType type, std::size_t size, std::vector<UInt8>& data, bool& present) {
  present = false;
  const short count = QTCountChildrenOfType(container, kParentAtomIsContainer, type);
  if (count == 0) return noErr;
  if (count != 1) return invalidAtomErr;
  const QTAtom atom = QTFindChildByIndex(container, kParentAtomIsContainer, type, 1, nullptr);
  data.assign(size, 0);
  SInt32 actual = 0;
  if (QTCopyAtomDataToPtr(container, atom, false, SInt32(size), data.data(), &actual) != noErr) return invalidAtomErr;
  present = true;
  return noErr;
}

OSType codecManufacturer(const SCSpatialSettings& spatial) {
  if (spatial.codec == nullptr) return 0;
  ComponentDescription cd{};
  if (GetComponentInfo(spatial.codec, &cd, nullptr, nullptr, nullptr) != noErr) return 0;
  return cd.componentSubType == spatial.codecType ? cd.componentManufacturer : 0;
}

OSErr saveImage(const VqtImageCompressionSettings& s, QTAtomContainer c) {
  if (OSErr err = addAtom(c, kSpatialAtom,
                          Writer()
                              .u32(s.spatial.codecType)
                              .u32(codecManufacturer(s.spatial))
                              .u16(UInt16(s.spatial.depth))
                              .u32(s.spatial.spatialQuality));
      err != noErr)
    return err;
  if (OSErr err = addAtom(c, kTemporalAtom,
                          Writer()
                              .u32(s.temporal.temporalQuality)
                              .u32(UInt32(s.temporal.frameRate))
                              .u32(UInt32(s.temporal.keyFrameRate)));
      err != noErr)
    return err;
  return addAtom(c, kDataRateAtom,
                 Writer()
                     .u32(UInt32(s.dataRate.dataRate))
                     .u32(UInt32(s.dataRate.frameDuration))
                     .u32(s.dataRate.minSpatialQuality)
                     .u32(s.dataRate.minTemporalQuality));
}

OSErr saveSound(const VqtSoundCompressionSettings& s, QTAtomContainer c) {
  if (OSErr err = addAtom(c, kSoundFormatAtom, Writer().u32(s.compressionType)); err != noErr) return err;
  if (OSErr err = addAtom(c, kSampleRateAtom, Writer().u32(s.sampleRate)); err != noErr) return err;
  if (OSErr err = addAtom(c, kSampleSizeAtom, Writer().u16(UInt16(s.sampleSize))); err != noErr) return err;
  return addAtom(c, kChannelsAtom, Writer().u16(UInt16(s.channelCount)));
}

OSErr loadImage(QTAtomContainer c, VqtImageCompressionSettings& s) {
  std::vector<UInt8> data;
  bool present = false;
  if (OSErr err = readAtom(c, kSpatialAtom, 14, data, present); err != noErr) return err;
  if (present) {
    Reader r(data);
    s.spatial.codecType = r.u32();
    const OSType manufacturer = r.u32();
    s.spatial.depth = SInt16(r.u16());
    s.spatial.spatialQuality = r.u32();
    // A named compressor that is not installed here falls back to any compressor of the type.
    s.spatial.codec = manufacturer == 0 ? nullptr : findCompressor(s.spatial.codecType, manufacturer);
  }
  if (OSErr err = readAtom(c, kTemporalAtom, 12, data, present); err != noErr) return err;
  if (present) {
    Reader r(data);
    s.temporal.temporalQuality = r.u32();
    s.temporal.frameRate = Fixed(r.u32());
    s.temporal.keyFrameRate = SInt32(r.u32());
  }
  if (OSErr err = readAtom(c, kDataRateAtom, 16, data, present); err != noErr) return err;
  if (present) {
    Reader r(data);
    s.dataRate.dataRate = SInt32(r.u32());
    s.dataRate.frameDuration = SInt32(r.u32());
    s.dataRate.minSpatialQuality = r.u32();
    s.dataRate.minTemporalQuality = r.u32();
  }
  return noErr;
}

OSErr loadSound(QTAtomContainer c, VqtSoundCompressionSettings& s) {
  std::vector<UInt8> data;
  bool present = false;
  if (OSErr err = readAtom(c, kSoundFormatAtom, 4, data, present); err != noErr) return err;
  if (present) s.compressionType = Reader(data).u32();
  if (OSErr err = readAtom(c, kSampleRateAtom, 4, data, present); err != noErr) return err;
  if (present) s.sampleRate = Reader(data).u32();
  if (OSErr err = readAtom(c, kSampleSizeAtom, 2, data, present); err != noErr) return err;
  if (present) s.sampleSize = SInt16(Reader(data).u16());
  if (OSErr err = readAtom(c, kChannelsAtom, 2, data, present); err != noErr) return err;
  if (present) s.channelCount = SInt16(Reader(data).u16());
  return noErr;
}

OSType kindCode(Kind kind) {
  return kind == Kind::image ? StandardCompressionSubType : StandardCompressionSubTypeAudio;
}

}  // namespace

OSErr saveSettings(const Instance& instance, QTAtomContainer* container) {
  if (container == nullptr) return paramErr;
  *container = nullptr;
  QTAtomContainer built = nullptr;
  if (OSErr err = QTNewAtomContainer(&built); err != noErr) return err;
  OSErr err = addAtom(built, kVersionAtom, Writer().u32(kSettingsLayoutVersion).u32(kindCode(instance.kind)));
  if (err == noErr)
    err = instance.kind == Kind::image ? saveImage(instance.image, built) : saveSound(instance.sound, built);
  if (err != noErr) {
    QTDisposeAtomContainer(built);
    return err;
  }
  *container = built;
  return noErr;
}

OSErr loadSettings(Instance& instance, QTAtomContainer container) {
  if (container == nullptr) return paramErr;
  if (OSErr err = VqtCheckAtomContainer(container); err != noErr) return err;
  // The version atom comes first, so a reader knows the layout before it reads anything else.
  if (QTGetNextChildType(container, kParentAtomIsContainer, 0) != kVersionAtom) return invalidAtomErr;
  std::vector<UInt8> data;
  bool present = false;
  // (readAtom refuses a second one, so the first atom is the only version atom.)
  if (OSErr err = readAtom(container, kVersionAtom, 8, data, present); err != noErr) return err;
  Reader r(data);
  const UInt32 version = r.u32();
  const OSType kind = r.u32();
  if (version == 0) return invalidAtomErr;
  if (version > kSettingsLayoutVersion) return codecDataVersErr;
  if (kind != kindCode(instance.kind)) return badComponentType;

  if (instance.kind == Kind::image) {
    VqtImageCompressionSettings loaded = instance.image;
    if (OSErr err = loadImage(container, loaded); err != noErr) return err;
    instance.image = loaded;
  } else {
    VqtSoundCompressionSettings loaded = instance.sound;
    if (OSErr err = loadSound(container, loaded); err != noErr) return err;
    instance.sound = loaded;
  }
  return noErr;
}

}  // namespace vqt::sc
