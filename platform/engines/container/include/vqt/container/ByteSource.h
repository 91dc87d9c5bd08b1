// Random-access byte sources the engine reads movies from: a file, a block of
// memory (tests, fuzzers, decompressed headers) and a sub-range of another source.
#pragma once

#include "vqt/container/Error.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vqt::container {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual std::uint64_t size() const = 0;
  // Fills `out` from `offset`; false (and nothing promised about `out`) when the
  // range is not entirely inside the source or the read fails.
  virtual bool read(std::uint64_t offset, std::span<std::uint8_t> out) const = 0;

  // Reads `length` bytes into a new vector; the length is checked against the
  // source size before anything is allocated.
  Error readVector(std::uint64_t offset, std::uint64_t length, std::vector<std::uint8_t>& out) const;
};

class FileSource final : public ByteSource {
 public:
  static std::shared_ptr<FileSource> open(const std::string& path, Error& error);
  ~FileSource() override;
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  std::uint64_t size() const override { return size_; }
  bool read(std::uint64_t offset, std::span<std::uint8_t> out) const override;

 private:
  FileSource(int fd, std::uint64_t size) : fd_(fd), size_(size) {}
  int fd_;
  std::uint64_t size_;
};

class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(std::vector<std::uint8_t> bytes) : owned_(std::move(bytes)), view_(owned_) {}
  // Borrows the bytes; the caller keeps them alive as long as the source.
  explicit MemorySource(std::span<const std::uint8_t> bytes) : view_(bytes) {}
  MemorySource(const MemorySource&) = delete;
  MemorySource& operator=(const MemorySource&) = delete;

  std::uint64_t size() const override { return view_.size(); }
  bool read(std::uint64_t offset, std::span<std::uint8_t> out) const override;

 private:
  std::vector<std::uint8_t> owned_;
  std::span<const std::uint8_t> view_;
};

class SubRangeSource final : public ByteSource {
 public:
  // The range is clamped to the parent's size.
  SubRangeSource(std::shared_ptr<const ByteSource> parent, std::uint64_t offset, std::uint64_t length);

  std::uint64_t size() const override { return length_; }
  bool read(std::uint64_t offset, std::span<std::uint8_t> out) const override;

 private:
  std::shared_ptr<const ByteSource> parent_;
  std::uint64_t offset_;
  std::uint64_t length_;
};

}  // namespace vqt::container
