#include "FilePacketSource.h"

namespace vqt::audio {

PacketInfo FilePacketSource::packet(std::int64_t index) const {
  if (index < 0 || index >= packetCount()) return {};
  return {packets_[index].byteSize, packets_[index].frames};
}

Status FilePacketSource::read(std::int64_t index, std::span<std::uint8_t> buffer) {
  if (!file_) return Status::ioError;
  if (index < 0 || index >= packetCount() || buffer.size() != packets_[index].byteSize) return Status::badData;
  if (fseeko(file_.get(), packets_[index].fileOffset, SEEK_SET) != 0) return Status::ioError;
  return std::fread(buffer.data(), 1, buffer.size(), file_.get()) == buffer.size() ? Status::ok : Status::ioError;
}

std::uint32_t ImportedSound::pcmBytesPerFrame() const {
  const auto layout = pcmLayoutOf(format);
  return layout ? format.channels * layout->bytesPerSample() : 0;
}

std::unique_ptr<PacketSource> ImportedSound::openPackets() const {
  return std::make_unique<FilePacketSource>(FilePtr(std::fopen(path.c_str(), "rbe")), packets);
}

}  // namespace vqt::audio
