#include "vqt/codecs/Decoder.h"

#include <cstring>

#include "Bitstream.h"
#include "ExchangeRows.h"
#include "FfmpegHandles.h"
#include "PixelConverter.h"
#include "vqt/codecs/CodecTable.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {

struct Picture::Data {
  FramePtr frame;
  std::int64_t sampleId = 0;
  std::uint64_t order = 0;
};

std::int64_t Picture::sampleId() const { return data_->sampleId; }
std::uint64_t Picture::outputOrder() const { return data_->order; }
int Picture::width() const { return data_->frame->width; }
int Picture::height() const { return data_->frame->height; }
bool Picture::hasAlpha() const {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(data_->frame->format));
  return d != nullptr && (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

std::size_t Picture::byteSize() const {
  std::size_t size = 0;
  for (const AVBufferRef* buffer : data_->frame->buf) {
    if (buffer != nullptr) size += buffer->size;
  }
  return size;
}

namespace {

// Pictures a held-back H.264 decoder can still owe, bounded by the DPB and threads.
constexpr int kMaxEndOfSequencePushes = 64;

ColourMatrix matrixOfStream(AVColorSpace space) {
  switch (space) {
    case AVCOL_SPC_BT709:
      return ColourMatrix::bt709;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
      return ColourMatrix::bt601;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      return ColourMatrix::bt2020;
    default:
      return ColourMatrix::unspecified;
  }
}

// True when an H.264 sample holds an IDR slice (NAL type 5).
bool holdsIdrSlice(std::span<const std::uint8_t> sample, int nalLengthSize) {
  if (nalLengthSize > 0) {
    std::size_t pos = 0;
    while (pos + nalLengthSize < sample.size()) {
      std::size_t length = 0;
      for (int i = 0; i < nalLengthSize; ++i) length = (length << 8) | sample[pos + i];
      pos += nalLengthSize;
      if ((sample[pos] & 0x1F) == 5) return true;
      pos += length;
    }
    return false;
  }
  for (std::size_t i = 0; i + 3 < sample.size(); ++i) {
    if (sample[i] == 0 && sample[i + 1] == 0 && sample[i + 2] == 1 && (sample[i + 3] & 0x1F) == 5) return true;
  }
  return false;
}

Status statusOf(int error) {
  if (error >= 0) return Status::ok;
  if (error == AVERROR(ENOMEM)) return Status::outOfMemory;
  if (error == AVERROR_INVALIDDATA) return Status::badData;
  return Status::failed;
}

}  // namespace

struct Decoder::Impl {
  DecoderConfig config;
  const CodecEntry* entry = nullptr;
  CodecContextPtr context;
  PacketPtr packet;
  PixelConverter converter;
  std::uint64_t samplesDecoded = 0;
  std::uint64_t outputCount = 0;
  std::int64_t owed = 0;  // samples sent whose picture has not come out
  bool drained = false;
  bool isH264 = false;
  bool pushedEndOfSequence = false;
  int nalLengthSize = 0;  // 0: Annex B samples

  Status sendPacket(AVPacket* pkt, std::vector<Picture>& out);
  AVFrame described(const Picture& picture, ColourMatrix& matrix) const;
  Status receive(std::vector<Picture>& out);
  Status pushEndOfSequence(std::vector<Picture>& out);
  Status drain(std::vector<Picture>& out);
};

Status Decoder::Impl::receive(std::vector<Picture>& out) {
  for (;;) {
    FramePtr frame(av_frame_alloc());
    if (!frame) return Status::outOfMemory;
    const int result = avcodec_receive_frame(context.get(), frame.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return Status::ok;
    if (result < 0) return statusOf(result);
    auto data = std::make_shared<Picture::Data>();
    data->sampleId = frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->best_effort_timestamp;
    data->order = ++outputCount;
    data->frame = std::move(frame);
    if (owed > 0) --owed;
    out.emplace_back(std::move(data));
  }
}

Status Decoder::Impl::sendPacket(AVPacket* pkt, std::vector<Picture>& out) {
  int result = avcodec_send_packet(context.get(), pkt);
  if (result == AVERROR(EAGAIN)) {
    if (Status s = receive(out); s != Status::ok) return s;
    result = avcodec_send_packet(context.get(), pkt);
  }
  const Status sent = statusOf(result);
  const Status received = receive(out);
  return sent != Status::ok ? sent : received;
}

// An end-of-sequence NAL unit makes the H.264 decoder hand out its next delayed
// picture while keeping its references, so decoding can go on afterwards.
Status Decoder::Impl::pushEndOfSequence(std::vector<Picture>& out) {
  static constexpr std::uint8_t kAnnexB[] = {0, 0, 0, 1, 0x0A};
  pushedEndOfSequence = true;
  for (int i = 0; i < kMaxEndOfSequencePushes && owed > 0; ++i) {
    if (av_new_packet(packet.get(), nalLengthSize > 0 ? nalLengthSize + 1 : 5) < 0) return Status::outOfMemory;
    if (nalLengthSize > 0) {
      std::memset(packet->data, 0, nalLengthSize);
      packet->data[nalLengthSize - 1] = 1;
      packet->data[nalLengthSize] = 0x0A;
    } else {
      std::memcpy(packet->data, kAnnexB, sizeof kAnnexB);
    }
    const Status s = sendPacket(packet.get(), out);
    av_packet_unref(packet.get());
    if (s != Status::ok && s != Status::badData) return s;
  }
  return owed > 0 ? Status::failed : Status::ok;
}

Status Decoder::Impl::drain(std::vector<Picture>& out) {
  const Status s = sendPacket(nullptr, out);
  drained = true;
  owed = 0;
  return s;
}

Decoder::Decoder(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Decoder::~Decoder() = default;

Status Decoder::create(const DecoderConfig& config, std::unique_ptr<Decoder>& decoder) {
  const CodecEntry* entry = findCodec(config.codecType);
  if (entry == nullptr || entry->decoder.empty()) return Status::noCodec;
  const AVCodec* codec = avcodec_find_decoder_by_name(std::string(entry->decoder).c_str());
  if (codec == nullptr) return Status::noCodec;

  silenceFfmpegLogging();
  auto impl = std::make_unique<Impl>();
  impl->config = config;
  impl->entry = entry;
  impl->context.reset(avcodec_alloc_context3(codec));
  impl->packet.reset(av_packet_alloc());
  if (!impl->context || !impl->packet) return Status::outOfMemory;
  AVCodecContext* context = impl->context.get();
  context->width = config.width;
  context->height = config.height;
  context->codec_tag = codecTagFromFourCC(config.codecType);  // ProRes needs it for its profile
  context->bits_per_coded_sample = config.depth;
  if (!entry->rawLayout.empty()) {
    const bool alpha = config.depth == 32 && !entry->rawAlphaLayout.empty();
    context->pix_fmt = av_get_pix_fmt(std::string(alpha ? entry->rawAlphaLayout : entry->rawLayout).c_str());
  }

  std::vector<std::uint8_t> setup = config.configAtom;
  if (config.configAtomType == 'esds') setup = decoderSpecificInfoFromEsds(config.configAtom);
  if (!setup.empty()) {
    context->extradata = static_cast<std::uint8_t*>(av_mallocz(setup.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (context->extradata == nullptr) return Status::outOfMemory;
    std::memcpy(context->extradata, setup.data(), setup.size());
    context->extradata_size = static_cast<int>(setup.size());
  }
  impl->isH264 = codec->id == AV_CODEC_ID_H264;
  if (impl->isH264 && setup.size() > 4 && setup[0] == 1) impl->nalLengthSize = (setup[4] & 3) + 1;

  context->thread_count = config.threads;
  // Intra-only codecs with slice threads hand each picture out at once; frame
  // threads would hold pictures back and force a drain at every flush.
  const bool sliceThreads = (codec->capabilities & AV_CODEC_CAP_SLICE_THREADS) != 0;
  context->thread_type = (!entry->temporal && sliceThreads) ? FF_THREAD_SLICE : FF_THREAD_FRAME | FF_THREAD_SLICE;

  if (avcodec_open2(context, codec, nullptr) < 0) return Status::unsupportedFormat;
  impl->converter.setExecutor(context);
  decoder.reset(new Decoder(std::move(impl)));
  return Status::ok;
}

Status Decoder::send(std::span<const std::uint8_t> sample, std::int64_t sampleId, std::vector<Picture>& out) {
  // Pictures handed out early leave the decoder's output order behind; at an
  // IDR nothing earlier is referenced, so start clean there (else it is dropped).
  if (impl_->drained || (impl_->pushedEndOfSequence && impl_->owed == 0 && holdsIdrSlice(sample, impl_->nalLengthSize)))
    restart();
  AVPacket* pkt = impl_->packet.get();
  if (av_new_packet(pkt, static_cast<int>(sample.size())) < 0) return Status::outOfMemory;
  if (!sample.empty()) std::memcpy(pkt->data, sample.data(), sample.size());
  pkt->pts = sampleId;
  pkt->dts = AV_NOPTS_VALUE;
  // Every sample of an intra-only codec stands alone (PNG would otherwise take
  // a sample without the key flag for a difference from the previous picture).
  if (!impl_->entry->temporal) pkt->flags |= AV_PKT_FLAG_KEY;
  ++impl_->samplesDecoded;
  ++impl_->owed;
  const Status status = impl_->sendPacket(pkt, out);
  av_packet_unref(pkt);
  return status;
}

Status Decoder::releaseHeldPictures(std::vector<Picture>& out) {
  if (impl_->owed <= 0 || impl_->drained) return Status::ok;
  if (impl_->isH264 && impl_->pushEndOfSequence(out) == Status::ok) return Status::ok;
  return impl_->drain(out);
}

bool Decoder::canContinue() const { return !impl_->drained; }

void Decoder::restart() {
  avcodec_flush_buffers(impl_->context.get());
  impl_->drained = false;
  impl_->pushedEndOfSequence = false;
  impl_->owed = 0;
}

// The file's colour description decides: its 'colr' first, then the stream's
// own tags, then the usual default (BT.709 above 576 lines, BT.601 below; JPEG
// is BT.601 full range by its own definition). The frame is a shallow copy
// whose range is the one that holds.
AVFrame Decoder::Impl::described(const Picture& picture, ColourMatrix& matrix) const {
  AVFrame frame = *picture.data()->frame;
  matrix = config.matrix;
  if (matrix == ColourMatrix::unspecified) matrix = matrixOfStream(frame.colorspace);
  const bool jpeg = context->codec_id == AV_CODEC_ID_MJPEG;
  if (matrix == ColourMatrix::unspecified && jpeg) matrix = ColourMatrix::bt601;
  if (config.range != ColourRange::unspecified)
    frame.color_range = config.range == ColourRange::full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  return frame;
}

Status Decoder::convert(const Picture& picture, const ImageView& destination) {
  if (!picture.valid()) return Status::failed;
  ColourMatrix matrix = ColourMatrix::unspecified;
  const AVFrame frame = impl_->described(picture, matrix);
  return impl_->converter.toExchange(frame, matrix, destination);
}

struct RowConversion::Plan {
  Picture picture;  // keeps the frame's pixels
  AVFrame frame;    // shallow, as described
  RowPlan rows;
  FourCC pixelFormat;
};

std::unique_ptr<RowConversion> Decoder::rowConversion(const Picture& picture, FourCC pixelFormat) const {
  if (!picture.valid()) return nullptr;
  ColourMatrix matrix = ColourMatrix::unspecified;
  const AVFrame frame = impl_->described(picture, matrix);
  const RowPlan rows = planRows(frame, matrix, pixelFormat);
  if (rows.kind == RowPlan::Kind::none) return nullptr;
  auto plan = std::make_shared<const RowConversion::Plan>(RowConversion::Plan{picture, frame, rows, pixelFormat});
  return std::make_unique<RowConversion>(std::move(plan));
}

Status RowConversion::convert(int firstRow, const ImageView& rows) const {
  if (rows.pixelFormat != plan_->pixelFormat || rows.width != plan_->frame.width || rows.data == nullptr ||
      firstRow < 0 || rows.height < 0 || firstRow + rows.height > plan_->frame.height ||
      rows.bytesPerRow < static_cast<std::ptrdiff_t>(minimumBytesPerRow(rows.pixelFormat, rows.width)))
    return Status::unsupportedFormat;
  convertRows(plan_->rows, plan_->frame, firstRow, rows);
  return Status::ok;
}

FourCC RowConversion::pixelFormat() const { return plan_->pixelFormat; }
int RowConversion::width() const { return plan_->frame.width; }
int RowConversion::height() const { return plan_->frame.height; }

std::uint64_t Decoder::samplesDecoded() const { return impl_->samplesDecoded; }
FourCC Decoder::codecType() const { return impl_->config.codecType; }
bool Decoder::isIntraOnly() const { return !impl_->entry->temporal; }

bool Decoder::producesAlpha() const {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(impl_->context->pix_fmt);
  return d != nullptr && (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

}  // namespace vqt::codecs
