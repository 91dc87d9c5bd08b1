// Handles are blocks with a header in front of the master pointer: the header
// records the size and a tag, so a foreign or disposed handle is recognised
// instead of being trusted.
#include <Carbon/MacMemory.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr UInt32 kHandleTag = 0x48446C21;  // "HDl!"
constexpr UInt32 kDeadTag = 0xDEADBEEF;
constexpr UInt32 kPtrTag = 0x50547221;  // "PTr!"

struct HandleBlock {
  UInt32 tag;
  SInt8 state;
  Size size;
  Ptr master;  // the Handle is &master
};

struct PtrHeader {
  UInt32 tag;
  Size size;
  alignas(std::max_align_t) unsigned char data[1];
};

thread_local OSErr lastError = noErr;
std::atomic<long> liveBlocks{0};

// Sizes are limited so size arithmetic can never wrap; anything larger than
// this is refused as memFullErr rather than attempted.
constexpr Size kMaxBlockSize = Size(1) << 40;

HandleBlock* blockOf(Handle h) {
  if (!h) return nullptr;
  auto* block = reinterpret_cast<HandleBlock*>(reinterpret_cast<char*>(h) - offsetof(HandleBlock, master));
  return block->tag == kHandleTag ? block : nullptr;
}

PtrHeader* headerOf(Ptr p) {
  if (!p) return nullptr;
  auto* header = reinterpret_cast<PtrHeader*>(p - offsetof(PtrHeader, data));
  return header->tag == kPtrTag ? header : nullptr;
}

bool sizeAllowed(Size byteCount) { return byteCount >= 0 && byteCount <= kMaxBlockSize; }

// At least one byte, so an empty block still has storage to point at.
size_t storageFor(Size byteCount) { return byteCount ? size_t(byteCount) : 1; }

// The tag is overwritten first, so a stale handle or pointer is refused rather than trusted.
void release(UInt32& tag, void* block) {
  tag = kDeadTag;
  std::free(block);
  --liveBlocks;
  lastError = noErr;
}

Handle allocateHandle(Size byteCount, bool clear) {
  auto* block = sizeAllowed(byteCount) ? static_cast<HandleBlock*>(std::malloc(sizeof(HandleBlock))) : nullptr;
  void* data = !block ? nullptr : clear ? std::calloc(1, storageFor(byteCount)) : std::malloc(storageFor(byteCount));
  if (!data) {
    std::free(block);
    lastError = memFullErr;
    return nullptr;
  }
  block->tag = kHandleTag;
  block->state = 0;
  block->size = byteCount;
  block->master = static_cast<Ptr>(data);
  ++liveBlocks;
  lastError = noErr;
  return &block->master;
}

}  // namespace

Handle NewHandle(Size byteCount) { return allocateHandle(byteCount, false); }
Handle NewHandleClear(Size byteCount) { return allocateHandle(byteCount, true); }
Handle NewEmptyHandle() { return allocateHandle(0, true); }

void DisposeHandle(Handle h) {
  HandleBlock* block = blockOf(h);
  if (!block) {
    lastError = h ? memWZErr : nilHandleErr;
    return;
  }
  std::free(block->master);
  block->master = nullptr;
  release(block->tag, block);
}

Size GetHandleSize(Handle h) {
  HandleBlock* block = blockOf(h);
  if (!block) {
    lastError = nilHandleErr;
    return 0;
  }
  lastError = noErr;
  return block->size;
}

void SetHandleSize(Handle h, Size newSize) {
  HandleBlock* block = blockOf(h);
  if (!block) {
    lastError = nilHandleErr;
    return;
  }
  void* data = sizeAllowed(newSize) ? std::realloc(block->master, storageFor(newSize)) : nullptr;
  if (!data) {
    lastError = memFullErr;
    return;
  }
  block->master = static_cast<Ptr>(data);
  block->size = newSize;
  lastError = noErr;
}

void HLock(Handle h) {
  if (HandleBlock* block = blockOf(h)) block->state |= 0x80;
  lastError = h ? noErr : nilHandleErr;
}
void HUnlock(Handle h) {
  if (HandleBlock* block = blockOf(h)) block->state &= ~0x80;
  lastError = h ? noErr : nilHandleErr;
}
void HLockHi(Handle h) { HLock(h); }
SInt8 HGetState(Handle h) {
  HandleBlock* block = blockOf(h);
  lastError = block ? noErr : nilHandleErr;
  return block ? block->state : 0;
}
void HSetState(Handle h, SInt8 flags) {
  if (HandleBlock* block = blockOf(h)) block->state = flags;
  lastError = h ? noErr : nilHandleErr;
}

void EmptyHandle(Handle h) { SetHandleSize(h, 0); }
void ReallocateHandle(Handle h, Size byteCount) { SetHandleSize(h, byteCount); }

OSErr HandToHand(Handle* h) {
  if (!h || !blockOf(*h)) return lastError = nilHandleErr;
  Handle source = *h;
  Size size = GetHandleSize(source);
  Handle copy = NewHandle(size);
  if (!copy) return lastError;
  if (size) std::memcpy(*copy, *source, size);
  *h = copy;
  return lastError = noErr;
}

OSErr PtrToHand(const void* srcPtr, Handle* dstHndl, long size) {
  if (!dstHndl || size < 0 || (size && !srcPtr)) return lastError = paramErr;
  Handle h = NewHandle(size);
  if (!h) return lastError;
  if (size) std::memcpy(*h, srcPtr, size);
  *dstHndl = h;
  return lastError = noErr;
}

namespace {

// Resizes the handle to end `size` bytes after `at` and copies those bytes there.
OSErr copyIntoHandle(const void* source, Handle destination, Size at, long size) {
  if (!blockOf(destination)) return lastError = nilHandleErr;
  if (size < 0 || (size && !source)) return lastError = paramErr;
  SetHandleSize(destination, at + size);
  if (lastError) return lastError;
  if (size) std::memmove(*destination + at, source, size);
  return lastError = noErr;
}

}  // namespace

OSErr PtrToXHand(const void* srcPtr, Handle dstHndl, long size) { return copyIntoHandle(srcPtr, dstHndl, 0, size); }

OSErr PtrAndHand(const void* ptr1, Handle hand2, long size) {
  return copyIntoHandle(ptr1, hand2, GetHandleSize(hand2), size);
}

OSErr HandAndHand(Handle hand1, Handle hand2) {
  if (!blockOf(hand1)) return lastError = nilHandleErr;
  // Copy first: hand1 and hand2 may be the same handle, whose block moves when it grows.
  Size size = GetHandleSize(hand1);
  Handle copy = hand1;
  if (OSErr err = HandToHand(&copy)) return err;
  OSErr err = PtrAndHand(*copy, hand2, size);
  DisposeHandle(copy);
  return lastError = err;
}

Ptr NewPtr(Size byteCount) {
  auto* header = sizeAllowed(byteCount)
                     ? static_cast<PtrHeader*>(std::malloc(offsetof(PtrHeader, data) + storageFor(byteCount)))
                     : nullptr;
  if (!header) {
    lastError = memFullErr;
    return nullptr;
  }
  header->tag = kPtrTag;
  header->size = byteCount;
  ++liveBlocks;
  lastError = noErr;
  return reinterpret_cast<Ptr>(header->data);
}

Ptr NewPtrClear(Size byteCount) {
  Ptr p = NewPtr(byteCount);
  if (p && byteCount) std::memset(p, 0, byteCount);
  return p;
}

void DisposePtr(Ptr p) {
  PtrHeader* header = headerOf(p);
  if (!header) {
    lastError = p ? memWZErr : noErr;
    return;
  }
  release(header->tag, header);
}

Size GetPtrSize(Ptr p) {
  PtrHeader* header = headerOf(p);
  lastError = header ? noErr : memWZErr;
  return header ? header->size : 0;
}

void BlockMove(const void* srcPtr, void* destPtr, Size byteCount) { BlockMoveData(srcPtr, destPtr, byteCount); }
void BlockMoveData(const void* srcPtr, void* destPtr, Size byteCount) {
  if (byteCount > 0) std::memmove(destPtr, srcPtr, byteCount);
}

OSErr MemError() { return lastError; }

long VqtLiveMemoryBlockCount() { return liveBlocks.load(); }
