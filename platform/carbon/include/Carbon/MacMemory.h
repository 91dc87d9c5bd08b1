// Memory Manager: relocatable blocks (handles) and plain blocks (pointers).
// A Handle points at a master pointer that points at the data; the block knows
// its size, so GetHandleSize works on any handle made here.
#pragma once

#include <Carbon/MacErrors.h>
#include <Carbon/MacTypes.h>

Handle NewHandle(Size byteCount);
Handle NewHandleClear(Size byteCount);
Handle NewEmptyHandle();
void DisposeHandle(Handle h);
Size GetHandleSize(Handle h);
// Grows or shrinks the block, keeping its first bytes; MemError() tells the result.
void SetHandleSize(Handle h, Size newSize);
void HLock(Handle h);
void HUnlock(Handle h);
void HLockHi(Handle h);
SInt8 HGetState(Handle h);
void HSetState(Handle h, SInt8 flags);
void EmptyHandle(Handle h);
void ReallocateHandle(Handle h, Size byteCount);
// Replaces *h with a newly allocated copy of the handle it held.
OSErr HandToHand(Handle* h);
OSErr PtrToHand(const void* srcPtr, Handle* dstHndl, long size);
OSErr PtrToXHand(const void* srcPtr, Handle dstHndl, long size);
OSErr PtrAndHand(const void* ptr1, Handle hand2, long size);
OSErr HandAndHand(Handle hand1, Handle hand2);

Ptr NewPtr(Size byteCount);
Ptr NewPtrClear(Size byteCount);
void DisposePtr(Ptr p);
Size GetPtrSize(Ptr p);

void BlockMove(const void* srcPtr, void* destPtr, Size byteCount);
void BlockMoveData(const void* srcPtr, void* destPtr, Size byteCount);

// The result of the last Memory Manager call on this thread.
OSErr MemError();

// Number of handles and pointers currently allocated (for leak checks in tests).
long VqtLiveMemoryBlockCount();
