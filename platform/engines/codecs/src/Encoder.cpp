#include "vqt/codecs/Encoder.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "Bitstream.h"
#include "FfmpegHandles.h"
#include "PixelConverter.h"
#include "vqt/codecs/CodecTable.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

Status statusOf(int error) {
  if (error >= 0) return Status::ok;
  if (error == AVERROR(ENOMEM)) return Status::outOfMemory;
  return Status::failed;
}

AVColorSpace streamColourSpace(ColourMatrix matrix) {
  switch (matrix) {
    case ColourMatrix::bt601:
      return AVCOL_SPC_SMPTE170M;
    case ColourMatrix::bt2020:
      return AVCOL_SPC_BT2020_NCL;
    default:
      return AVCOL_SPC_BT709;
  }
}

// Primaries to declare beside a matrix: BT.601 pictures of 576 lines are
// 625-line (EBU) material, every other BT.601 size is taken as 525-line.
AVColorPrimaries streamPrimaries(ColourMatrix matrix, int height) {
  switch (matrix) {
    case ColourMatrix::bt601:
      return height == 576 ? AVCOL_PRI_BT470BG : AVCOL_PRI_SMPTE170M;
    case ColourMatrix::bt2020:
      return AVCOL_PRI_BT2020;
    default:
      return AVCOL_PRI_BT709;
  }
}

// Encoders that take only whole chroma samples: an odd picture is coded in the
// next size of whole chroma samples with its last column and row repeated.
// A v210 row of an odd width is laid out as that of the next even one, so the
// padded frame reads back at the true width. 4:2:0 H.264 and HEVC crop their
// streams to the padded size (their cropping counts whole chroma samples);
// the sample description keeps the true size, which FFmpeg's H.264 decoder
// applies as the container's crop of the bottom and right edges.
bool padsToWholeChroma(AVCodecID codec) {
  return codec == AV_CODEC_ID_V210 || codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC;
}

// Repeats the last column and row of a width x height picture into the rest
// of its frame, plane by plane, so the padding codes like the picture's edge.
void repeatEdges(AVFrame& frame, int width, int height) {
  const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  for (int c = 0; c < layout->nb_components; ++c) {
    const AVComponentDescriptor& component = layout->comp[c];
    const bool chroma = c == 1 || c == 2;
    const int shiftW = chroma ? layout->log2_chroma_w : 0;
    const int shiftH = chroma ? layout->log2_chroma_h : 0;
    const int usedW = AV_CEIL_RSHIFT(width, shiftW), fullW = AV_CEIL_RSHIFT(frame.width, shiftW);
    const int usedH = AV_CEIL_RSHIFT(height, shiftH), fullH = AV_CEIL_RSHIFT(frame.height, shiftH);
    std::uint8_t* plane = frame.data[component.plane] + component.offset;
    const int step = component.step;
    for (int y = 0; y < usedH; ++y) {
      std::uint8_t* row = plane + static_cast<std::ptrdiff_t>(y) * frame.linesize[component.plane];
      for (int x = usedW; x < fullW; ++x) std::memcpy(row + x * step, row + (usedW - 1) * step, step);
    }
    const std::uint8_t* last = plane + static_cast<std::ptrdiff_t>(usedH - 1) * frame.linesize[component.plane];
    for (int y = usedH; y < fullH; ++y)
      std::memcpy(plane + static_cast<std::ptrdiff_t>(y) * frame.linesize[component.plane], last,
                  static_cast<std::size_t>(fullW) * step);
  }
}

// DNxHR profile names by the value of the quality table.
const char* dnxhrProfileName(int value) {
  switch (value) {
    case 1:
      return "dnxhr_lb";
    case 2:
      return "dnxhr_sq";
    case 3:
      return "dnxhr_hq";
    case 4:
      return "dnxhr_hqx";
    default:
      return "dnxhr_444";
  }
}

AVPixelFormat nativeLayout(const CodecEntry& entry, const EncoderConfig& config, int qualityValue) {
  if (entry.quality.control == QualityControl::dnxhrProfile) {
    if (qualityValue == 4) return AV_PIX_FMT_YUV422P10LE;
    if (qualityValue == 5) return AV_PIX_FMT_YUV444P10LE;
    return AV_PIX_FMT_YUV422P;
  }
  const bool alpha = config.depth == 32 && !entry.encodeAlphaLayout.empty();
  const bool deep = config.sourceFormat == kPixelFormatB64a || config.sourceFormat == kPixelFormatB48r ||
                    config.sourceFormat == kPixelFormatR4fl;
  if (deep && !entry.deepLayout.empty())
    return av_get_pix_fmt(std::string(alpha ? entry.deepAlphaLayout : entry.deepLayout).c_str());
  return av_get_pix_fmt(std::string(alpha ? entry.encodeAlphaLayout : entry.encodeLayout).c_str());
}

// x264's instruction sets as its "asm" option names them, all that the CPU
// has but AVX-512. x264's AVX-512 routines (build 164) do not give the results
// of its C and AVX2 code, and from the second encoder in a process on they
// vary from one encoder to the next (they take in memory that earlier
// encoders left): the same frames made different movies, alone or on threads.
// Empty where there is nothing to leave out.
std::string x264InstructionSets() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  std::string sets = "MMX2";
  const auto add = [&sets](bool present, const char* name) {
    if (present) sets.append(",").append(name);
  };
  add(__builtin_cpu_supports("sse2"), "SSE2");
  add(__builtin_cpu_supports("sse3"), "SSE3");
  add(__builtin_cpu_supports("ssse3"), "SSSE3");
  add(__builtin_cpu_supports("sse4.1"), "SSE4");
  add(__builtin_cpu_supports("sse4.2"), "SSE4.2");
  add(__builtin_cpu_supports("avx"), "AVX,SSE2Fast");
  add(__builtin_cpu_supports("avx") && __builtin_cpu_supports("fma"), "FMA3");
  add(__builtin_cpu_supports("bmi"), "BMI1");
  add(__builtin_cpu_supports("bmi2"), "BMI2");
  add(__builtin_cpu_supports("avx2"), "AVX2");
  return sets + ",Cache64";
#else
  return {};
#endif
}

}  // namespace

struct Encoder::Impl {
  EncoderConfig config;
  bool padded = false;  // the codec's frame is larger than the picture (see padsToWholeChroma)
  const CodecEntry* entry = nullptr;
  CodecContextPtr context;
  FramePtr frame;
  std::vector<FramePtr> spareFrames;  // frames handed to frame threads, reused once free
  PacketPtr packet;
  PixelConverter converter;
  ColourMatrix matrix = ColourMatrix::unspecified;
  std::deque<std::int64_t> durations;  // display durations in submission order
  FourCC atomType = 0;
  std::vector<std::uint8_t> atom;
  bool annexB = false;
  std::int64_t ticksPerFrame = 1;  // display time units in one tick of the encoder's time base

  Status receive(std::vector<EncodedFrame>& out);
  Status writableFrame();
};

// Frames that frame threads still encode keep their buffers: the next frame
// takes a spare one no thread holds any more, or a new one (never a copy of a
// held one, which would be overwritten anyway). At most one per frame thread.
Status Encoder::Impl::writableFrame() {
  if (av_frame_is_writable(frame.get())) return Status::ok;
  for (FramePtr& spare : spareFrames) {
    if (av_frame_is_writable(spare.get())) {
      std::swap(spare, frame);
      return Status::ok;
    }
  }
  FramePtr fresh(av_frame_alloc());
  if (!fresh) return Status::outOfMemory;
  fresh->format = frame->format;
  fresh->width = frame->width;
  fresh->height = frame->height;
  fresh->color_range = frame->color_range;
  fresh->colorspace = frame->colorspace;
  if (av_frame_get_buffer(fresh.get(), 0) < 0) return Status::outOfMemory;
  spareFrames.push_back(std::move(frame));
  frame = std::move(fresh);
  return Status::ok;
}

Status Encoder::Impl::receive(std::vector<EncodedFrame>& out) {
  for (;;) {
    const int result = avcodec_receive_packet(context.get(), packet.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return Status::ok;
    if (result < 0) return statusOf(result);
    EncodedFrame encoded;
    const std::span<const std::uint8_t> bytes(packet->data, static_cast<std::size_t>(packet->size));
    if (annexB && startsWithStartCode(bytes)) {
      encoded.data = annexBToLengthPrefixed(bytes);
    } else {
      encoded.data.assign(bytes.begin(), bytes.end());
    }
    encoded.displayTime = packet->pts * ticksPerFrame;
    encoded.decodeTime = (packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts) * ticksPerFrame;
    // The k-th frame in decode order lasts as long as the k-th frame submitted:
    // exact for constant frame durations, which is what the sessions produce.
    encoded.decodeDuration = durations.empty() ? 0 : durations.front();
    if (!durations.empty()) durations.pop_front();
    encoded.displayDuration = packet->duration > 0 ? packet->duration * ticksPerFrame : encoded.decodeDuration;
    encoded.sync = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    encoded.droppable = (packet->flags & AV_PKT_FLAG_DISPOSABLE) != 0;
    av_packet_unref(packet.get());
    out.push_back(std::move(encoded));
  }
}

Encoder::Encoder(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Encoder::~Encoder() = default;

Status Encoder::create(const EncoderConfig& config, std::unique_ptr<Encoder>& encoder) {
  const CodecEntry* entry = findCodec(config.codecType);
  if (entry == nullptr || entry->encoder.empty()) return Status::noCodec;
  const AVCodec* codec = avcodec_find_encoder_by_name(std::string(entry->encoder).c_str());
  if (codec == nullptr) return Status::noCodec;
  if (config.width <= 0 || config.height <= 0 || config.timeScale <= 0) return Status::unsupportedFormat;

  silenceFfmpegLogging();
  auto impl = std::make_unique<Impl>();
  impl->config = config;
  impl->entry = entry;
  impl->context.reset(avcodec_alloc_context3(codec));
  impl->frame.reset(av_frame_alloc());
  impl->packet.reset(av_packet_alloc());
  if (!impl->context || !impl->frame || !impl->packet) return Status::outOfMemory;

  AVCodecContext* context = impl->context.get();
  const int qualityValue = entry->quality.values[qualityLevelIndex(config.quality)];
  context->width = config.width;
  context->height = config.height;
  context->pix_fmt =
      config.codecType == 'raw ' && config.depth == 32 ? AV_PIX_FMT_ARGB : nativeLayout(*entry, config, qualityValue);
  if (padsToWholeChroma(codec->id)) {
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(context->pix_fmt);
    const int wholeW = 1 << layout->log2_chroma_w, wholeH = 1 << layout->log2_chroma_h;
    context->width = (config.width + wholeW - 1) / wholeW * wholeW;
    context->height = (config.height + wholeH - 1) / wholeH * wholeH;
    impl->padded = context->width != config.width || context->height != config.height;
  }
  context->time_base = AVRational{1, config.timeScale};
  if (config.frameRate > 0) context->framerate = av_d2q(config.frameRate, 1 << 20);
  context->thread_count = config.threads;
  // Intra-only encoders with frame threads use them: each frame is encoded
  // whole on one thread while the caller lays out the next, so no core waits
  // for a frame's slowest slice. Those with slice threads only use these, and
  // our own pixel unpacking then runs in bands on the same threads.
  if (!entry->temporal && (codec->capabilities & AV_CODEC_CAP_FRAME_THREADS)) {
    context->thread_type = FF_THREAD_FRAME;
  } else if (!entry->temporal && (codec->capabilities & AV_CODEC_CAP_SLICE_THREADS)) {
    context->thread_type = FF_THREAD_SLICE;
  }
  context->codec_tag = codecTagFromFourCC(config.codecType);
  impl->matrix = resolveColourMatrix(config.matrix, config.height);
  // VC-3 streams always declare BT.709, so that is the matrix their pixels must be made with.
  if (codec->id == AV_CODEC_ID_DNXHD) impl->matrix = ColourMatrix::bt709;
  // JPEG (JFIF) is BT.601 full range at every size: it has no way to say otherwise.
  if (codec->id == AV_CODEC_ID_MJPEG) impl->matrix = ColourMatrix::bt601;
  const bool fullRange = context->pix_fmt == AV_PIX_FMT_YUVJ420P;
  context->color_range = fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  context->colorspace = streamColourSpace(impl->matrix);
  context->color_primaries = streamPrimaries(impl->matrix, config.height);
  context->color_trc = AVCOL_TRC_BT709;

  if (!config.allowTemporal || config.keyFrameInterval == 1) {
    context->gop_size = 0;  // intra only
  } else if (config.keyFrameInterval > 0) {
    context->gop_size = config.keyFrameInterval;
  }
  if (entry->temporal) {
    // Every key frame must be a place to start decoding: no B-frame after it in
    // decode order may lean on the previous group of pictures.
    context->flags |= AV_CODEC_FLAG_CLOSED_GOP;
    // MPEG-4's encoder keeps closed groups only without scene-cut key frames.
    if (codec->id == AV_CODEC_ID_MPEG4) av_opt_set_int(context->priv_data, "sc_threshold", 1000000000, 0);
    if (!config.allowReordering || !config.allowTemporal) {
      context->max_b_frames = 0;
    } else if (codec->id == AV_CODEC_ID_MPEG4) {
      context->max_b_frames = 2;
      if (config.bitRate > 0 && config.frameRate > 0) {
        // MPEG-4's rate control budgets each frame as if it lasted one tick of
        // the time base: at 1/600 and 25 fps every frame would get a
        // twenty-fourth of its bits. With a data rate it is given a time base
        // of one frame, and the times go to it and come back in whole frames.
        const std::int64_t ticks = std::llround(config.timeScale / config.frameRate);
        if (ticks > 1 && config.timeScale / ticks <= 65535) {
          impl->ticksPerFrame = ticks;
          av_reduce(&context->time_base.num, &context->time_base.den, ticks, config.timeScale, INT_MAX);
        }
      }
    }
  }
  if (entry->configAtom != 0) context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  std::vector<std::string> x265Params;

  // A data rate replaces the quality mapping on codecs that budget bits across
  // frames; intra codecs (ProRes, DNxHR, JPEG, ...) have a fixed rate per quality
  // and keep it.
  const bool dataRateRules = config.bitRate > 0 && entry->temporal;
  if (dataRateRules) {
    context->bit_rate = config.bitRate;
    if (entry->encoder == "libx264" || entry->encoder == "libx265") {
      // Peaks up to half as much again over a two-second buffer: a player with
      // that much room never starves, and a scene change still gets its bits.
      context->rc_max_rate = config.bitRate + config.bitRate / 2;
      context->rc_buffer_size = static_cast<int>(std::min<std::int64_t>(config.bitRate * 2, INT_MAX));
      // The macroblock tree spends less on what later frames will not refer
      // to, which over a few seconds leaves a third of the asked rate unspent.
      if (entry->encoder == "libx264") av_opt_set_int(context->priv_data, "mbtree", 0, 0);
      if (entry->encoder == "libx265") x265Params.emplace_back("cutree=0");
    } else if (codec->id == AV_CODEC_ID_MPEG4) {
      // MPEG-4's rate control budgets each frame as if it lasted one tick of
      // the time base (1/600 s, not 1/25), and only its correction for bits
      // spent against the clock, which does read the times, keeps the rate.
      // A tolerance of a quarter second of bits lets that correction lead.
      context->bit_rate_tolerance = static_cast<int>(std::min<std::int64_t>(config.bitRate / 4, INT_MAX));
    }
  }
  switch (dataRateRules ? QualityControl::none : entry->quality.control) {
    case QualityControl::x264Crf:
      av_opt_set_double(context->priv_data, "crf", qualityValue, 0);
      break;
    case QualityControl::x265Crf:
      if (qualityValue == 0) {
        x265Params.emplace_back("lossless=1");
      } else {
        av_opt_set_double(context->priv_data, "crf", qualityValue, 0);
      }
      break;
    case QualityControl::mpegQscale:
      context->flags |= AV_CODEC_FLAG_QSCALE;
      context->global_quality = FF_QP2LAMBDA * qualityValue;
      context->qmin = 1;
      context->qmax = 31;
      break;
    case QualityControl::proresQuantiser:
      // prores_ks takes its fixed quantiser from the global quality when it opens.
      if (qualityValue > 0) context->global_quality = FF_QP2LAMBDA * qualityValue;
      break;
    case QualityControl::dnxhrProfile:
      av_opt_set(context->priv_data, "profile", dnxhrProfileName(qualityValue), 0);
      break;
    case QualityControl::none:
      break;
  }
  if (entry->profile >= 0) av_opt_set_int(context->priv_data, "profile", entry->profile, 0);
  if (entry->encoder == "libx264") {
    if (const std::string sets = x264InstructionSets(); !sets.empty())
      av_opt_set(context->priv_data, "x264-params", ("asm=" + sets).c_str(), 0);
  }
  if (entry->encoder == "libx265") {
    // x265 logs on its own, past FFmpeg's log level; its pool takes the session's thread count.
    x265Params.emplace_back("log-level=none");
    if (config.threads > 0) x265Params.push_back("pools=" + std::to_string(config.threads));
    std::string joined;
    for (const std::string& param : x265Params) joined += (joined.empty() ? "" : ":") + param;
    av_opt_set(context->priv_data, "x265-params", joined.c_str(), 0);
  }
  if (codec->id == AV_CODEC_ID_PRORES) {
    av_opt_set(context->priv_data, "vendor", "apl0", 0);
    if (config.depth == 32 && !entry->encodeAlphaLayout.empty())
      av_opt_set_int(context->priv_data, "alpha_bits", 16, 0);
  }
  if (codec->id == AV_CODEC_ID_MJPEG) context->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;

  if (avcodec_open2(context, codec, nullptr) < 0) return Status::unsupportedFormat;

  impl->converter.setExecutor(context);
  impl->frame->format = context->pix_fmt;
  impl->frame->width = context->width;
  impl->frame->height = context->height;
  if (av_frame_get_buffer(impl->frame.get(), 0) < 0) return Status::outOfMemory;
  impl->frame->color_range = context->color_range;
  impl->frame->colorspace = context->colorspace;

  impl->atomType = entry->configAtom;
  const std::span<const std::uint8_t> extradata(context->extradata, static_cast<std::size_t>(context->extradata_size));
  if (entry->configAtom == 'avcC') {
    impl->annexB = true;
    impl->atom = startsWithStartCode(extradata) ? avcConfigurationFromAnnexB(extradata)
                                                : std::vector<std::uint8_t>(extradata.begin(), extradata.end());
  } else if (entry->configAtom == 'hvcC') {
    impl->annexB = true;
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(context->pix_fmt);
    const int chroma = layout->log2_chroma_w == 0 ? 3 : (layout->log2_chroma_h == 0 ? 2 : 1);
    impl->atom = hevcConfigurationFromAnnexB(extradata, chroma, layout->comp[0].depth);
  } else if (entry->configAtom == 'esds') {
    const std::int64_t averageRate = dataRateRules ? config.bitRate : context->bit_rate;
    impl->atom = esdsFromDecoderSpecificInfo(extradata, static_cast<int>(std::min<std::int64_t>(averageRate, INT_MAX)));
  }
  encoder.reset(new Encoder(std::move(impl)));
  return Status::ok;
}

Status Encoder::encode(const ConstImageView& image, std::int64_t displayTime, std::int64_t duration,
                       std::vector<EncodedFrame>& out) {
  Impl& impl = *impl_;
  if (Status s = impl.writableFrame(); s != Status::ok) return s;
  if (impl.padded) {
    // The picture goes into the top left of the codec's larger frame.
    AVFrame& frame = *impl.frame;
    const int codedWidth = frame.width, codedHeight = frame.height;
    frame.width = impl.config.width;
    frame.height = impl.config.height;
    const Status converted = impl.converter.fromExchange(image, impl.matrix, frame);
    frame.width = codedWidth;
    frame.height = codedHeight;
    if (converted != Status::ok) return converted;
    repeatEdges(frame, impl.config.width, impl.config.height);
  } else if (Status s = impl.converter.fromExchange(image, impl.matrix, *impl.frame); s != Status::ok) {
    return s;
  }
  impl.frame->pts = displayTime / impl.ticksPerFrame;
  impl.frame->pict_type = AV_PICTURE_TYPE_NONE;
  // Encoders with a fixed quantiser (MPEG-4, JPEG) take it from each frame,
  // not from the context: without this every quality gave the same bytes.
  if (impl.context->flags & AV_CODEC_FLAG_QSCALE) impl.frame->quality = impl.context->global_quality;
  impl.durations.push_back(duration);
  int result = avcodec_send_frame(impl.context.get(), impl.frame.get());
  if (result == AVERROR(EAGAIN)) {
    if (Status s = impl.receive(out); s != Status::ok) return s;
    result = avcodec_send_frame(impl.context.get(), impl.frame.get());
  }
  if (result < 0) {
    impl.durations.pop_back();
    return statusOf(result);
  }
  return impl.receive(out);
}

Status Encoder::finish(std::vector<EncodedFrame>& out) {
  const int result = avcodec_send_frame(impl_->context.get(), nullptr);
  if (result < 0 && result != AVERROR_EOF) return statusOf(result);
  return impl_->receive(out);
}

FourCC Encoder::configAtomType() const { return impl_->atom.empty() ? 0 : impl_->atomType; }
const std::vector<std::uint8_t>& Encoder::configAtom() const { return impl_->atom; }
const EncoderConfig& Encoder::config() const { return impl_->config; }

std::optional<ColourTags> Encoder::colourTags() const {
  const AVCodecContext& context = *impl_->context;
  const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(context.pix_fmt);
  if (layout == nullptr || (layout->flags & AV_PIX_FMT_FLAG_RGB) != 0) return std::nullopt;
  // FFmpeg's colour enumerations use these very code points.
  return ColourTags{static_cast<int>(context.color_primaries), static_cast<int>(context.color_trc),
                    static_cast<int>(context.colorspace), context.color_range == AVCOL_RANGE_JPEG};
}

}  // namespace vqt::codecs
