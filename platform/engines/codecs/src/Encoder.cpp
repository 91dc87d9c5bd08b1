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

AVPixelFormat layoutNamed(std::string_view name) { return av_get_pix_fmt(std::string(name).c_str()); }

// The layout the encoder is fed: the quality level's own where it picks a
// profile, else 16 bits a channel for deep sources where the codec holds
// them, with alpha at depth 32 where it keeps alpha.
AVPixelFormat nativeLayout(const CodecEntry& entry, const EncoderConfig& config, int level) {
  if (!entry.quality.layouts[level].empty()) return layoutNamed(entry.quality.layouts[level]);
  const bool alpha = config.depth == 32 && !entry.encodeAlphaLayout.empty();
  const bool deep = config.sourceFormat == kPixelFormatB64a || config.sourceFormat == kPixelFormatB48r ||
                    config.sourceFormat == kPixelFormatR4fl;
  if (deep && !entry.deepLayout.empty()) return layoutNamed(alpha ? entry.deepAlphaLayout : entry.deepLayout);
  return layoutNamed(alpha ? entry.encodeAlphaLayout : entry.encodeLayout);
}

ColourMatrix encodingMatrix(const CodecEntry& entry, const EncoderConfig& config) {
  switch (entry.matrix) {
    case MatrixRule::alwaysBt709:
      return ColourMatrix::bt709;
    case MatrixRule::alwaysBt601:
      return ColourMatrix::bt601;
    case MatrixRule::bySize:
      break;
  }
  return resolveColourMatrix(config.matrix, config.height);
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
  bool padded = false;  // the codec's frame is larger than the picture (OddSize::padToWholeChroma)
  const CodecEntry* entry = nullptr;
  const AVCodec* codec = nullptr;
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
  std::int64_t ticksPerFrame = 1;          // display time units in one tick of the encoder's time base
  int level = 0;                           // index into the entry's quality levels
  bool dataRateRules = false;              // an average data rate replaces the quality mapping
  std::vector<std::string> libraryParams;  // x264-params / x265-params, joined by ':'

  // The steps of Encoder::create, in order.
  void chooseLayout();
  void setTiming();
  void setColour();
  void setGroupOfPictures();
  void setDataRate();
  void setQuality();
  void setEncoderOptions();
  Status open();
  void makeConfigAtom();

  Status receive(std::vector<EncodedFrame>& out);
  Status writableFrame();
  template <typename Convert>
  Status layOut(const Convert& convert);
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

// The picture's size, or for a codec that needs whole chroma samples the next
// such size, in the layout the encoder is fed. The description keeps the true
// size: v210 rows of an odd width are laid out as those of the next even one,
// and 4:2:0 H.264 and HEVC, whose own cropping counts whole chroma samples,
// crop only to the padded size (FFmpeg's H.264 decoder takes the rest from
// the description, as a crop of the right and bottom edges).
void Encoder::Impl::chooseLayout() {
  AVCodecContext& c = *context;
  c.width = config.width;
  c.height = config.height;
  c.pix_fmt = nativeLayout(*entry, config, level);
  if (entry->oddSize == OddSize::padToWholeChroma) {
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(c.pix_fmt);
    const int wholeW = 1 << layout->log2_chroma_w, wholeH = 1 << layout->log2_chroma_h;
    c.width = (config.width + wholeW - 1) / wholeW * wholeW;
    c.height = (config.height + wholeH - 1) / wholeH * wholeH;
    padded = c.width != config.width || c.height != config.height;
  }
}

void Encoder::Impl::setTiming() {
  AVCodecContext& c = *context;
  c.time_base = AVRational{1, config.timeScale};
  if (config.frameRate > 0) c.framerate = av_d2q(config.frameRate, 1 << 20);
  c.thread_count = config.threads;
  // Intra-only encoders with frame threads use them: each frame is encoded
  // whole on one thread while the caller lays out the next, so no core waits
  // for a frame's slowest slice. Those with slice threads only use these, and
  // our own pixel unpacking then runs in bands on the same threads.
  if (!entry->temporal && (codec->capabilities & AV_CODEC_CAP_FRAME_THREADS)) {
    c.thread_type = FF_THREAD_FRAME;
  } else if (!entry->temporal && (codec->capabilities & AV_CODEC_CAP_SLICE_THREADS)) {
    c.thread_type = FF_THREAD_SLICE;
  }
  c.codec_tag = codecTagFromFourCC(config.codecType);
}

// The matrix the pixels are made with is the one the stream declares.
void Encoder::Impl::setColour() {
  AVCodecContext& c = *context;
  matrix = encodingMatrix(*entry, config);
  c.color_range = entry->fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  c.colorspace = streamColourSpace(matrix);
  c.color_primaries = streamPrimaries(matrix, config.height);
  c.color_trc = AVCOL_TRC_BT709;
}

void Encoder::Impl::setGroupOfPictures() {
  AVCodecContext& c = *context;
  if (!config.allowTemporal || config.keyFrameInterval == 1) {
    c.gop_size = 0;  // intra only
  } else if (config.keyFrameInterval > 0) {
    c.gop_size = config.keyFrameInterval;
  }
  if (!entry->temporal) return;
  // Every key frame must be a place to start decoding: no B-frame after it in
  // decode order may lean on the previous group of pictures.
  c.flags |= AV_CODEC_FLAG_CLOSED_GOP;
  if (!config.allowReordering || !config.allowTemporal) {
    c.max_b_frames = 0;
  } else if (entry->bFrames >= 0) {
    c.max_b_frames = entry->bFrames;
  }
}

// A data rate replaces the quality mapping on codecs that budget bits across
// frames; intra codecs (ProRes, DNxHR, JPEG, ...) have a fixed rate per quality
// and keep it.
void Encoder::Impl::setDataRate() {
  dataRateRules = config.bitRate > 0 && entry->temporal;
  if (!dataRateRules) return;
  AVCodecContext& c = *context;
  c.bit_rate = config.bitRate;
  switch (entry->dataRate) {
    case DataRateControl::bufferedPeaks:
      // Peaks up to half as much again over a two-second buffer: a player with
      // that much room never starves, and a scene change still gets its bits.
      c.rc_max_rate = config.bitRate + config.bitRate / 2;
      c.rc_buffer_size = static_cast<int>(std::min<std::int64_t>(config.bitRate * 2, INT_MAX));
      // The macroblock tree spends less on what later frames will not refer
      // to, which over a few seconds leaves a third of the asked rate unspent.
      if (entry->library == EncoderLibrary::x264) av_opt_set_int(c.priv_data, "mbtree", 0, 0);
      if (entry->library == EncoderLibrary::x265) libraryParams.emplace_back("cutree=0");
      break;
    case DataRateControl::frameTimeBase:
      // MPEG-4's rate control budgets each frame as if it lasted one tick of
      // the time base (1/600 s, not 1/25), and only its correction for bits
      // spent against the clock, which does read the times, keeps the rate.
      // A tolerance of a quarter second of bits lets that correction lead.
      c.bit_rate_tolerance = static_cast<int>(std::min<std::int64_t>(config.bitRate / 4, INT_MAX));
      // And it is given a time base of one frame: at 1/600 and 25 fps every
      // frame would get a twenty-fourth of its bits. The times go to it and
      // come back in whole frames.
      if (config.frameRate > 0 && config.allowTemporal && config.allowReordering) {
        const std::int64_t ticks = std::llround(config.timeScale / config.frameRate);
        if (ticks > 1 && config.timeScale / ticks <= 65535) {
          ticksPerFrame = ticks;
          av_reduce(&c.time_base.num, &c.time_base.den, ticks, config.timeScale, INT_MAX);
        }
      }
      break;
    case DataRateControl::none:
      break;
  }
}

void Encoder::Impl::setQuality() {
  AVCodecContext& c = *context;
  const int value = entry->quality.values[level];
  switch (dataRateRules ? QualityControl::none : entry->quality.control) {
    case QualityControl::x264Crf:
      av_opt_set_double(c.priv_data, "crf", value, 0);
      break;
    case QualityControl::x265Crf:
      if (value == 0) {
        libraryParams.emplace_back("lossless=1");
      } else {
        av_opt_set_double(c.priv_data, "crf", value, 0);
      }
      break;
    case QualityControl::mpegQscale:
      c.flags |= AV_CODEC_FLAG_QSCALE;
      c.global_quality = FF_QP2LAMBDA * value;
      c.qmin = 1;
      c.qmax = 31;
      break;
    case QualityControl::proresQuantiser:
      // prores_ks takes its fixed quantiser from the global quality when it opens.
      if (value > 0) c.global_quality = FF_QP2LAMBDA * value;
      break;
    case QualityControl::dnxhrProfile:
      av_opt_set(c.priv_data, "profile", std::string(entry->quality.profiles[level]).c_str(), 0);
      break;
    case QualityControl::none:
      break;
  }
}

void Encoder::Impl::setEncoderOptions() {
  AVCodecContext& c = *context;
  if (entry->configAtom != 0) c.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (entry->profile >= 0) av_opt_set_int(c.priv_data, "profile", entry->profile, 0);
  for (const EncoderOption& option : entry->options) {
    const std::string name(option.name), value(option.value);
    if (av_opt_set(c.priv_data, name.c_str(), value.c_str(), 0) < 0) av_opt_set(&c, name.c_str(), value.c_str(), 0);
  }
  if (config.depth == 32 && entry->alphaBits > 0 && !entry->encodeAlphaLayout.empty())
    av_opt_set_int(c.priv_data, "alpha_bits", entry->alphaBits, 0);
  switch (entry->library) {
    case EncoderLibrary::x264:
      if (const std::string sets = x264InstructionSets(); !sets.empty()) libraryParams.push_back("asm=" + sets);
      break;
    case EncoderLibrary::x265:
      // x265 logs on its own, past FFmpeg's log level; its pool takes the session's thread count.
      libraryParams.emplace_back("log-level=none");
      if (config.threads > 0) libraryParams.push_back("pools=" + std::to_string(config.threads));
      break;
    case EncoderLibrary::libavcodec:
      break;
  }
  if (entry->library == EncoderLibrary::libavcodec) return;
  std::string joined;
  for (const std::string& param : libraryParams) joined += (joined.empty() ? "" : ":") + param;
  const char* option = entry->library == EncoderLibrary::x264 ? "x264-params" : "x265-params";
  if (!joined.empty()) av_opt_set(c.priv_data, option, joined.c_str(), 0);
}

Status Encoder::Impl::open() {
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return Status::unsupportedFormat;
  converter.setExecutor(context.get());
  frame->format = context->pix_fmt;
  frame->width = context->width;
  frame->height = context->height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) return Status::outOfMemory;
  frame->color_range = context->color_range;
  frame->colorspace = context->colorspace;
  return Status::ok;
}

// The codec setup for the image description, from the encoder's global header.
void Encoder::Impl::makeConfigAtom() {
  atomType = entry->configAtom;
  const std::span<const std::uint8_t> extradata(context->extradata, static_cast<std::size_t>(context->extradata_size));
  if (entry->configAtom == 'avcC') {
    annexB = true;
    atom = startsWithStartCode(extradata) ? avcConfigurationFromAnnexB(extradata)
                                          : std::vector<std::uint8_t>(extradata.begin(), extradata.end());
  } else if (entry->configAtom == 'hvcC') {
    annexB = true;
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(context->pix_fmt);
    const int chroma = layout->log2_chroma_w == 0 ? 3 : (layout->log2_chroma_h == 0 ? 2 : 1);
    atom = hevcConfigurationFromAnnexB(extradata, chroma, layout->comp[0].depth);
  } else if (entry->configAtom == 'esds') {
    const std::int64_t averageRate = dataRateRules ? config.bitRate : context->bit_rate;
    atom = esdsFromDecoderSpecificInfo(extradata, static_cast<int>(std::min<std::int64_t>(averageRate, INT_MAX)));
  }
}

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
  impl->codec = codec;
  impl->level = qualityLevelIndex(config.quality);
  impl->context.reset(avcodec_alloc_context3(codec));
  impl->frame.reset(av_frame_alloc());
  impl->packet.reset(av_packet_alloc());
  if (!impl->context || !impl->frame || !impl->packet) return Status::outOfMemory;

  impl->chooseLayout();
  impl->setTiming();
  impl->setColour();
  impl->setGroupOfPictures();
  impl->setDataRate();
  impl->setQuality();
  impl->setEncoderOptions();
  if (const Status opened = impl->open(); opened != Status::ok) return opened;
  impl->makeConfigAtom();
  encoder.reset(new Encoder(std::move(impl)));
  return Status::ok;
}

// Fills the encoder's next frame through `convert` (which gets the frame at
// the picture's size): a codec that codes a larger frame gets the picture in
// its top left, the edges repeated into the rest.
template <typename Convert>
Status Encoder::Impl::layOut(const Convert& convert) {
  if (Status s = writableFrame(); s != Status::ok) return s;
  AVFrame& target = *frame;
  if (!padded) return convert(target);
  const int codedWidth = target.width, codedHeight = target.height;
  target.width = config.width;
  target.height = config.height;
  const Status converted = convert(target);
  target.width = codedWidth;
  target.height = codedHeight;
  if (converted != Status::ok) return converted;
  repeatEdges(target, config.width, config.height);
  return Status::ok;
}

Status Encoder::layOut(const ConstImageView& image) {
  Impl& impl = *impl_;
  return impl.layOut(
      [&impl, &image](AVFrame& frame) { return impl.converter.fromExchange(image, impl.matrix, frame); });
}

Status Encoder::layOut(const RowSourceImage& image) {
  Impl& impl = *impl_;
  return impl.layOut(
      [&impl, &image](AVFrame& frame) { return impl.converter.fromExchangeRows(image, impl.matrix, frame); });
}

bool Encoder::takesRowsInBands(FourCC pixelFormat) const {
  const Impl& impl = *impl_;
  AVFrame picture = *impl.frame;  // the layout and the picture's size, as layOut converts into
  picture.width = impl.config.width;
  picture.height = impl.config.height;
  return PixelConverter::takesRowsInBands(pixelFormat, impl.matrix, picture);
}

Status Encoder::send(std::int64_t displayTime, std::int64_t duration, std::vector<EncodedFrame>& out) {
  Impl& impl = *impl_;
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

Status Encoder::encode(const ConstImageView& image, std::int64_t displayTime, std::int64_t duration,
                       std::vector<EncodedFrame>& out) {
  if (Status s = layOut(image); s != Status::ok) return s;
  return send(displayTime, duration, out);
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
