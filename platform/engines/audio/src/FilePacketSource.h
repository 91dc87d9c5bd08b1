// Packets read from a file by their offsets: how an imported sound file's packets reach
// its decoder without being copied anywhere.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "vqt/audio/SoundImport.h"

namespace vqt::audio {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// Reads packets straight from the imported file by their offsets.
class FilePacketSource final : public PacketSource {
 public:
  FilePacketSource(FilePtr file, std::vector<ImportedPacket> packets)
      : file_(std::move(file)), packets_(std::move(packets)) {}
  std::int64_t packetCount() const override { return static_cast<std::int64_t>(packets_.size()); }
  PacketInfo packet(std::int64_t index) const override;
  Status read(std::int64_t index, std::span<std::uint8_t> buffer) override;

 private:
  FilePtr file_;
  std::vector<ImportedPacket> packets_;
};

}  // namespace vqt::audio
