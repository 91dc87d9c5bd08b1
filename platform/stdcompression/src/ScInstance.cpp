#include "ScInstance.h"

#include <map>
#include <mutex>

namespace vqt::sc {
namespace {

// The codec a new image instance starts with, when installed; else the first compressor.
constexpr CodecType kDefaultCodecType = 'apcn';
constexpr OSType kDefaultSoundFormat = 'twos';  // 16-bit big-endian linear PCM
constexpr UnsignedFixed kDefaultSampleRate = UnsignedFixed(48000) << 16;

class InstanceTable {
 public:
  void add(ComponentInstance ci, std::shared_ptr<Instance> instance) {
    std::lock_guard lock(mutex_);
    instances_[ci] = std::move(instance);
  }
  void remove(ComponentInstance ci) {
    std::lock_guard lock(mutex_);
    instances_.erase(ci);
  }
  std::shared_ptr<Instance> find(ComponentInstance ci) {
    std::lock_guard lock(mutex_);
    const auto found = instances_.find(ci);
    return found == instances_.end() ? nullptr : found->second;
  }

 private:
  std::mutex mutex_;
  std::map<ComponentInstance, std::shared_ptr<Instance>> instances_;
};

InstanceTable& table() {
  static InstanceTable instances;
  return instances;
}

CodecType defaultCodecType() {
  if (findCompressor(kDefaultCodecType, 0) != nullptr) return kDefaultCodecType;
  ComponentDescription looking{compressorComponentType, 0, 0, 0, cmpIsMissing};
  Component first = FindNextComponent(nullptr, &looking);
  ComponentDescription found{};
  if (first == nullptr || GetComponentInfo(first, &found, nullptr, nullptr, nullptr) != noErr) return 0;
  return found.componentSubType;
}

}  // namespace

VqtImageCompressionSettings defaultImageSettings() {
  VqtImageCompressionSettings settings;
  settings.spatial = {defaultCodecType(), nullptr, 24, codecNormalQuality};
  settings.temporal = {codecNormalQuality, 0, 0};
  settings.dataRate = {0, 0, 0, 0};
  return settings;
}

VqtSoundCompressionSettings defaultSoundSettings() { return {kDefaultSoundFormat, kDefaultSampleRate, 16, 2}; }

std::shared_ptr<Instance> findInstance(ComponentInstance ci) { return table().find(ci); }

Component findCompressor(CodecType codecType, OSType manufacturer) {
  if (codecType == 0) return nullptr;
  ComponentDescription looking{compressorComponentType, codecType, manufacturer, 0, cmpIsMissing};
  return FindNextComponent(nullptr, &looking);
}

void matchCodecToType(SCSpatialSettings& spatial) {
  if (spatial.codec == nullptr) return;
  ComponentDescription cd{};
  if (GetComponentInfo(spatial.codec, &cd, nullptr, nullptr, nullptr) == noErr &&
      cd.componentType == compressorComponentType && cd.componentSubType == spatial.codecType)
    return;
  spatial.codec = findCompressor(spatial.codecType, 0);
}

// Component Manager hooks: an instance's state lives from its open to its close.
OSErr openInstance(ComponentInstance ci) {
  ComponentDescription cd{};
  if (OSErr err = GetComponentInfo(GetComponentFromInstance(ci), &cd, nullptr, nullptr, nullptr); err != noErr)
    return err;
  auto instance = std::make_shared<Instance>();
  instance->kind = cd.componentSubType == StandardCompressionSubTypeAudio ? Kind::sound : Kind::image;
  if (instance->kind == Kind::image)
    instance->image = defaultImageSettings();
  else
    instance->sound = defaultSoundSettings();
  table().add(ci, std::move(instance));
  return noErr;
}

void closeInstance(ComponentInstance ci) { table().remove(ci); }

}  // namespace vqt::sc
