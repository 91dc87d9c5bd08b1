// On Linux every process may open windows, so "foreground application" is a
// state we record: the dialog library reads it to raise and focus its window.
#include <Carbon/Processes.h>

#include <atomic>

namespace {

std::atomic<bool> foreground{false};
std::atomic<bool> wantsFront{false};

bool namesCurrentProcess(const ProcessSerialNumber* psn) {
  return psn && psn->highLongOfPSN == 0 && psn->lowLongOfPSN == kCurrentProcess;
}

}  // namespace

OSErr GetCurrentProcess(ProcessSerialNumber* psn) {
  if (!psn) return paramErr;
  psn->highLongOfPSN = 0;
  psn->lowLongOfPSN = kCurrentProcess;
  return noErr;
}

OSStatus TransformProcessType(const ProcessSerialNumber* psn, ProcessApplicationTransformState transformState) {
  if (!psn) return paramErr;
  if (!namesCurrentProcess(psn)) return procNotFound;
  switch (transformState) {
    case kProcessTransformToForegroundApplication:
      foreground = true;
      return noErr;
    case kProcessTransformToBackgroundApplication:
    case kProcessTransformToUIElementApplication:
      foreground = false;
      wantsFront = false;
      return noErr;
    default:
      return paramErr;
  }
}

OSErr SetFrontProcess(const ProcessSerialNumber* psn) {
  if (!psn) return paramErr;
  if (!namesCurrentProcess(psn)) return procNotFound;
  wantsFront = true;
  return noErr;
}

Boolean VqtProcessIsForegroundApplication() { return foreground; }
Boolean VqtProcessWantsFront() { return wantsFront; }
