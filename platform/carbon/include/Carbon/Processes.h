// Process Manager: the current process's serial number and its application type.
// A process that turns itself into a foreground application is the one whose
// windows are raised and given keyboard focus when they open.
#pragma once

#include <Carbon/MacErrors.h>
#include <Carbon/MacTypes.h>

struct ProcessSerialNumber {
  UInt32 highLongOfPSN;
  UInt32 lowLongOfPSN;
};

enum : UInt32 {
  kNoProcess = 0,
  kSystemProcess = 1,
  kCurrentProcess = 2,
};

typedef UInt32 ProcessApplicationTransformState;
enum : ProcessApplicationTransformState {
  kProcessTransformToForegroundApplication = 1,
  kProcessTransformToBackgroundApplication = 2,
  kProcessTransformToUIElementApplication = 4,
};

constexpr OSErr procNotFound = -600;

OSErr GetCurrentProcess(ProcessSerialNumber* psn);
OSStatus TransformProcessType(const ProcessSerialNumber* psn, ProcessApplicationTransformState transformState);
OSErr SetFrontProcess(const ProcessSerialNumber* psn);

// What the two calls above recorded for this process: whether it is a
// foreground application, and whether it asked to be brought to the front.
Boolean VqtProcessIsForegroundApplication();
Boolean VqtProcessWantsFront();
