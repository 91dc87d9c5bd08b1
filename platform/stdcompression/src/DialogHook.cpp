// The installed dialog hook, and what each compressor can do (from the codec engine's table).
#include <QuickTime/StandardCompressionDialog.h>

#include <mutex>

#include "vqt/codecs/CodecTable.h"

namespace {

struct HookSlot {
  std::mutex mutex;
  std::shared_ptr<VqtStandardCompressionDialogHook> hook;
};

HookSlot& slot() {
  static HookSlot installed;
  return installed;
}

}  // namespace

void VqtSetStandardCompressionDialogHook(std::shared_ptr<VqtStandardCompressionDialogHook> hook) {
  std::lock_guard lock(slot().mutex);
  slot().hook = std::move(hook);
}

std::shared_ptr<VqtStandardCompressionDialogHook> VqtGetStandardCompressionDialogHook() {
  std::lock_guard lock(slot().mutex);
  return slot().hook;
}

bool VqtGetCompressorCapabilities(CodecType codecType, VqtCompressorCapabilities* capabilities) {
  if (capabilities == nullptr) return false;
  *capabilities = {};
  const vqt::codecs::CodecEntry* entry = vqt::codecs::findCodec(codecType);
  if (entry == nullptr) return false;
  capabilities->temporal = entry->temporal;
  capabilities->frameReordering = entry->temporal && entry->bFrames != 0;
  capabilities->hasQuality = entry->quality.control != vqt::codecs::QualityControl::none;
  capabilities->hasLossless = capabilities->hasQuality && entry->quality.levels == 6;
  return true;
}
