#include "PcmTable.h"

namespace vqt::audio {
namespace {

struct PcmRow {
  PcmKind kind;
  std::uint32_t bits;
  bool bigEndian;  // ignored for 8-bit rows
  AVCodecID codec;
  FourCC classicFormat;  // 0: only 'lpcm' can describe it
};

// clang-format off
constexpr PcmRow kPcmRows[] = {
  {PcmKind::unsignedInteger,  8, true,  AV_CODEC_ID_PCM_U8,    formats::unsignedBytes},
  {PcmKind::signedInteger,    8, true,  AV_CODEC_ID_PCM_S8,    formats::bigEndianSigned},
  {PcmKind::signedInteger,   16, true,  AV_CODEC_ID_PCM_S16BE, formats::bigEndianSigned},
  {PcmKind::signedInteger,   16, false, AV_CODEC_ID_PCM_S16LE, formats::littleEndianSigned},
  {PcmKind::unsignedInteger, 16, true,  AV_CODEC_ID_PCM_U16BE, 0},
  {PcmKind::unsignedInteger, 16, false, AV_CODEC_ID_PCM_U16LE, 0},
  {PcmKind::signedInteger,   24, true,  AV_CODEC_ID_PCM_S24BE, formats::int24},
  {PcmKind::signedInteger,   24, false, AV_CODEC_ID_PCM_S24LE, formats::int24},
  {PcmKind::signedInteger,   32, true,  AV_CODEC_ID_PCM_S32BE, formats::int32},
  {PcmKind::signedInteger,   32, false, AV_CODEC_ID_PCM_S32LE, formats::int32},
  {PcmKind::floatingPoint,   32, true,  AV_CODEC_ID_PCM_F32BE, formats::float32},
  {PcmKind::floatingPoint,   32, false, AV_CODEC_ID_PCM_F32LE, formats::float32},
  {PcmKind::floatingPoint,   64, true,  AV_CODEC_ID_PCM_F64BE, formats::float64},
  {PcmKind::floatingPoint,   64, false, AV_CODEC_ID_PCM_F64LE, formats::float64},
  {PcmKind::muLaw,            8, true,  AV_CODEC_ID_PCM_MULAW, formats::muLaw},
  {PcmKind::aLaw,             8, true,  AV_CODEC_ID_PCM_ALAW,  formats::aLaw},
};
// clang-format on

const PcmRow* findRow(PcmKind kind, std::uint32_t bits, bool bigEndian) {
  for (const PcmRow& row : kPcmRows) {
    if (row.kind == kind && row.bits == bits && (bits == 8 || row.bigEndian == bigEndian)) return &row;
  }
  return nullptr;
}

std::optional<PcmLayout> layoutFromRow(const PcmRow* row) {
  if (!row) return std::nullopt;
  return PcmLayout{row->kind, row->bits, row->bits == 8 ? true : row->bigEndian, row->classicFormat};
}

// The classic codes: the kind and byte order are in the code; 'twos', 'sowt' and 'raw '
// take their width from the sample size (16 when a file leaves it 0).
std::optional<PcmLayout> classicLayout(const SoundFormat& format) {
  const std::uint32_t size = format.bitsPerChannel ? format.bitsPerChannel : 16;
  const bool bigUnlessEnda = !format.littleEndianAtom;
  switch (format.format) {
    case formats::bigEndianSigned:
      return layoutFromRow(findRow(PcmKind::signedInteger, size, true));
    case formats::littleEndianSigned:
      return layoutFromRow(findRow(PcmKind::signedInteger, size, false));
    case formats::unsignedBytes:
      return layoutFromRow(findRow(PcmKind::unsignedInteger, format.bitsPerChannel == 16 ? 16 : 8, true));
    case formats::int24:
      return layoutFromRow(findRow(PcmKind::signedInteger, 24, bigUnlessEnda));
    case formats::int32:
      return layoutFromRow(findRow(PcmKind::signedInteger, 32, bigUnlessEnda));
    case formats::float32:
      return layoutFromRow(findRow(PcmKind::floatingPoint, 32, bigUnlessEnda));
    case formats::float64:
      return layoutFromRow(findRow(PcmKind::floatingPoint, 64, bigUnlessEnda));
    case formats::muLaw:
      return layoutFromRow(findRow(PcmKind::muLaw, 8, true));
    case formats::aLaw:
      return layoutFromRow(findRow(PcmKind::aLaw, 8, true));
    default:
      return std::nullopt;
  }
}

// Version 2 'lpcm': everything from the flags. Non-interleaved or padded samples
// (bits not filling their bytes, or frames wider than the samples) are not decoded.
std::optional<PcmLayout> lpcmLayout(const SoundFormat& format) {
  const std::uint32_t flags = format.lpcmFormatFlags;
  const std::uint32_t bits = format.bitsPerChannel;
  if ((flags & lpcmFlags::isNonInterleaved) || bits == 0 || bits % 8 != 0) return std::nullopt;
  if (format.bytesPerFrame != 0 && format.bytesPerFrame != format.channels * (bits / 8)) return std::nullopt;
  const PcmKind kind = (flags & lpcmFlags::isFloat)           ? PcmKind::floatingPoint
                       : (flags & lpcmFlags::isSignedInteger) ? PcmKind::signedInteger
                                                              : PcmKind::unsignedInteger;
  // 8-bit 'lpcm' is signed or unsigned by its flag, unlike the classic codes.
  return layoutFromRow(findRow(kind, bits, (flags & lpcmFlags::isBigEndian) != 0));
}

}  // namespace

std::optional<PcmLayout> pcmLayoutOf(const SoundFormat& format) {
  if (format.format == formats::linearPcm) return lpcmLayout(format);
  return classicLayout(format);
}

bool isPcm(const SoundFormat& format) { return pcmLayoutOf(format).has_value(); }

AVCodecID pcmDecoderFor(const PcmLayout& layout) {
  const PcmRow* row = findRow(layout.kind, layout.bitsPerSample, layout.bigEndian);
  return row ? row->codec : AV_CODEC_ID_NONE;
}

std::optional<PcmLayout> pcmLayoutOfCodec(AVCodecID codec) {
  for (const PcmRow& row : kPcmRows) {
    if (row.codec == codec) return layoutFromRow(&row);
  }
  return std::nullopt;
}

SoundFormat pcmSoundFormat(const PcmLayout& layout, std::uint32_t channels, double sampleRate) {
  SoundFormat format;
  format.channels = channels;
  format.sampleRate = sampleRate;
  format.bitsPerChannel = layout.bitsPerSample;
  const PcmRow* row = findRow(layout.kind, layout.bitsPerSample, layout.bigEndian);
  const FourCC classicCode = row ? row->classicFormat : 0;
  // Version 0 holds the rate in 16.16, so only rates below 65536 Hz fit it; wider
  // samples get 'lpcm', which says everything in its flags. The companded formats have
  // no 'lpcm' form and keep their code in a version 2 description at high rates.
  if (classicCode != 0 && layout.bitsPerSample <= 16 && sampleRate < 65536.0) {
    format.version = 0;
    format.format = classicCode;
    return format;
  }
  // Version 2 states the frame size: a packet is one frame.
  format.framesPerPacket = 1;
  format.bytesPerFrame = channels * layout.bytesPerSample();
  format.bytesPerPacket = format.bytesPerFrame;
  if (layout.kind == PcmKind::muLaw || layout.kind == PcmKind::aLaw) {
    format.version = 2;
    format.format = classicCode;
    return format;
  }
  format.version = 2;
  format.format = formats::linearPcm;
  std::uint32_t flags = lpcmFlags::isPacked;
  if (layout.kind == PcmKind::floatingPoint) flags |= lpcmFlags::isFloat;
  if (layout.kind == PcmKind::signedInteger) flags |= lpcmFlags::isSignedInteger;
  if (layout.bigEndian && layout.bitsPerSample > 8) flags |= lpcmFlags::isBigEndian;
  format.lpcmFormatFlags = flags;
  return format;
}

}  // namespace vqt::audio
