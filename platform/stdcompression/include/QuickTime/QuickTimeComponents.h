// The standard compression component ('scdi'): image ('imag') and sound ('audi') instances that
// hold compression settings, read and set with SCGetInfo / SCSetInfo, saved to and loaded from a
// QT atom container, turned into compression session options, and shown to the user in the
// settings dialogs through a registered dialog hook.
#pragma once

#include <Carbon/Components.h>
#include <Carbon/QuickDraw.h>
#include <QuickTime/ImageCompression.h>
#include <QuickTime/QTAtomContainer.h>

constexpr OSType StandardCompressionType = 'scdi';
constexpr OSType StandardCompressionSubType = 'imag';
constexpr OSType StandardCompressionSubTypeAudio = 'audi';

typedef UInt32 UnsignedFixed;  // 16.16 without sign

struct SCSpatialSettings {
  CodecType codecType;
  CodecComponent codec;  // 0: any compressor of codecType
  SInt16 depth;
  CodecQ spatialQuality;
};

struct SCTemporalSettings {
  CodecQ temporalQuality;
  Fixed frameRate;      // 0: the source's own rate
  SInt32 keyFrameRate;  // 0: the compressor decides; 1: every frame a key frame
};

struct SCDataRateSettings {
  SInt32 dataRate;  // bytes per second, 0: no limit
  SInt32 frameDuration;
  CodecQ minSpatialQuality;
  CodecQ minTemporalQuality;
};

// Info types of SCGetInfo / SCSetInfo and what `info` points at.
constexpr OSType scSpatialSettingsType = 'sptl';      // SCSpatialSettings (image)
constexpr OSType scTemporalSettingsType = 'tprl';     // SCTemporalSettings (image)
constexpr OSType scDataRateSettingsType = 'drat';     // SCDataRateSettings (image)
constexpr OSType scPreferenceFlagsType = 'pref';      // SInt32 (both)
constexpr OSType scSoundVBRCompressionOK = 'cvbr';    // Boolean (sound)
constexpr OSType scSoundSampleRateChangeOK = 'rcok';  // Boolean (sound)
constexpr OSType scSoundCompressionType = 'ssct';     // OSType (sound)
constexpr OSType scSoundSampleRateType = 'ssrt';      // UnsignedFixed (sound)
constexpr OSType scSoundSampleSizeType = 'sssz';      // SInt16 (sound)
constexpr OSType scSoundChannelCountType = 'sscc';    // SInt16 (sound)

// Preference flags.
constexpr SInt32 scAllowEncodingWithCompressionSession = 0x100;

// The result of a dialog the user (or the absence of a display) cancelled.
constexpr ComponentResult scUserCancelled = 1;

// An info type the instance does not keep gives scTypeNotFoundErr; an instance that is not a
// standard compression instance gives badComponentInstance.
ComponentResult SCGetInfo(ComponentInstance ci, OSType infoType, void* info);
ComponentResult SCSetInfo(ComponentInstance ci, OSType infoType, void* info);

// Defaults for compressing pictures like `src`: its pixel depth, normal quality and, with
// motion, normal temporal quality at the source's own rate with automatic key frames.
ComponentResult SCDefaultPixMapSettings(ComponentInstance ci, PixMapHandle src, short motion);

// Run the settings dialog of the instance's kind (both calls: the image dialog for an image
// instance, the sound dialog for a sound instance). 0 after OK with the settings updated;
// scUserCancelled with nothing changed when the user cancels, no display is available or no
// dialog is installed (VqtSetStandardCompressionDialogHook).
ComponentResult SCRequestSequenceSettings(ComponentInstance ci);
ComponentResult SCRequestImageSettings(ComponentInstance ci);

// A new container with the instance's settings; the caller disposes of it.
ComponentResult SCGetSettingsAsAtomContainer(ComponentInstance ci, QTAtomContainer* settings);
// Loads settings saved by SCGetSettingsAsAtomContainer. The whole container is checked before
// anything changes: a malformed one gives invalidAtomContainerErr, one without the version atom
// first or with a field of the wrong size invalidAtomErr, one of a newer version
// codecDataVersErr, one saved by the other kind of instance badComponentType. Settings the
// container does not hold keep their values.
ComponentResult SCSetSettingsFromAtomContainer(ComponentInstance ci, QTAtomContainer settings);

// New options for a compression session with the image instance's settings (the caller
// releases them). noCodecErr when no compressor of the chosen type is installed.
ComponentResult SCCopyCompressionSessionOptions(ComponentInstance ci, ICMCompressionSessionOptionsRef* outOptions);

// Registers both components with the Component Manager. Done when the program starts; calling
// it again changes nothing.
void VqtRegisterStandardCompression();
