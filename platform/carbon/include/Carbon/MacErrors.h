// Result codes returned by the platform calls, with their Mac OS / QuickTime values.
// Every platform call reports failure through one of these, never by exception.
#pragma once

#include <Carbon/MacTypes.h>

// General and Memory Manager
constexpr OSErr paramErr = -50;
constexpr OSErr unimpErr = -4;
constexpr OSErr memFullErr = -108;
constexpr OSErr nilHandleErr = -109;
constexpr OSErr memWZErr = -111;
constexpr OSErr memLockedErr = -117;
constexpr OSErr resNotFound = -192;
constexpr OSErr userCanceledErr = -128;

// File Manager
constexpr OSErr dirFulErr = -33;
constexpr OSErr dskFulErr = -34;
constexpr OSErr nsvErr = -35;
constexpr OSErr ioErr = -36;
constexpr OSErr bdNamErr = -37;
constexpr OSErr fnOpnErr = -38;
constexpr OSErr eofErr = -39;
constexpr OSErr posErr = -40;
constexpr OSErr tmfoErr = -42;
constexpr OSErr fnfErr = -43;
constexpr OSErr wPrErr = -44;
constexpr OSErr fLckdErr = -45;
constexpr OSErr vLckdErr = -46;
constexpr OSErr fBsyErr = -47;
constexpr OSErr dupFNErr = -48;
constexpr OSErr opWrErr = -49;
constexpr OSErr permErr = -54;
constexpr OSErr wrPermErr = -61;
constexpr OSErr dirNFErr = -120;

// Component Manager
constexpr OSErr invalidComponentID = -3000;
constexpr OSErr validInstancesExist = -3001;
constexpr OSErr componentNotCaptured = -3002;
constexpr OSErr componentDontRegister = -3003;
constexpr OSErr unresolvedComponentDLLErr = -3004;
constexpr OSErr retryComponentRegistrationErr = -3005;

// Movie Toolbox
constexpr OSErr couldNotResolveDataRef = -2000;
constexpr OSErr badImageDescription = -2001;
constexpr OSErr badPublicMovieAtom = -2002;
constexpr OSErr cantFindHandler = -2003;
constexpr OSErr cantOpenHandler = -2004;
constexpr OSErr badComponentType = -2005;
constexpr OSErr noMediaHandler = -2006;
constexpr OSErr noDataHandler = -2007;
constexpr OSErr invalidMedia = -2008;
constexpr OSErr invalidTrack = -2009;
constexpr OSErr invalidMovie = -2010;
constexpr OSErr invalidSampleTable = -2011;
constexpr OSErr invalidDataRef = -2012;
constexpr OSErr invalidHandler = -2013;
constexpr OSErr invalidDuration = -2014;
constexpr OSErr invalidTime = -2015;
constexpr OSErr cantPutPublicMovieAtom = -2016;
constexpr OSErr badEditList = -2017;
constexpr OSErr mediaTypesDontMatch = -2018;
constexpr OSErr progressProcAborted = -2019;
constexpr OSErr movieToolboxUninitialized = -2020;
constexpr OSErr noRecordOfApp = movieToolboxUninitialized;
constexpr OSErr wfFileNotFound = -2021;
constexpr OSErr cantCreateSingleForkFile = -2022;
constexpr OSErr invalidEditState = -2023;
constexpr OSErr nonMatchingEditState = -2024;
constexpr OSErr staleEditState = -2025;
constexpr OSErr userDataItemNotFound = -2026;
constexpr OSErr maxSizeToGrowTooSmall = -2027;
constexpr OSErr badTrackIndex = -2028;
constexpr OSErr trackIDNotFound = -2029;
constexpr OSErr trackNotInMovie = -2030;
constexpr OSErr timeNotInTrack = -2031;
constexpr OSErr timeNotInMedia = -2032;
constexpr OSErr badEditIndex = -2033;
constexpr OSErr internalQuickTimeError = -2034;
constexpr OSErr cantEnableTrack = -2035;
constexpr OSErr invalidRect = -2036;
constexpr OSErr invalidSampleNum = -2037;
constexpr OSErr invalidChunkNum = -2038;
constexpr OSErr invalidSampleDescIndex = -2039;
constexpr OSErr invalidChunkCache = -2040;
constexpr OSErr invalidSampleDescription = -2041;
constexpr OSErr dataNotOpenForRead = -2042;
constexpr OSErr dataNotOpenForWrite = -2043;
constexpr OSErr dataAlreadyOpenForWrite = -2044;
constexpr OSErr dataAlreadyClosed = -2045;
constexpr OSErr endOfDataReached = -2046;
constexpr OSErr dataNoDataRef = -2047;
constexpr OSErr noMovieFound = -2048;
constexpr OSErr invalidDataRefContainer = -2049;
constexpr OSErr badDataRefIndex = -2050;
constexpr OSErr noDefaultDataRef = -2051;
constexpr OSErr couldNotUseAnExistingSample = -2052;
constexpr OSErr featureUnsupported = -2053;
constexpr OSErr noVideoTrackInMovieErr = -2054;
constexpr OSErr noSoundTrackInMovieErr = -2055;
constexpr OSErr soundSupportNotAvailableErr = -2056;
constexpr OSErr unsupportedAuxiliaryImportData = -2057;
constexpr OSErr auxiliaryExportDataUnavailable = -2058;
constexpr OSErr samplesAlreadyInMediaErr = -2059;
constexpr OSErr noSourceTreeFoundErr = -2060;
constexpr OSErr sourceNotFoundErr = -2061;
constexpr OSErr movieTextNotFoundErr = -2062;
constexpr OSErr missingRequiredParameterErr = -2063;
constexpr OSErr invalidSpriteWorldPropertyErr = -2064;
constexpr OSErr invalidSpritePropertyErr = -2065;
constexpr OSErr gWorldsNotSameDepthAndSizeErr = -2066;
constexpr OSErr invalidSpriteIndexErr = -2067;
constexpr OSErr invalidImageIndexErr = -2068;
constexpr OSErr invalidSpriteIDErr = -2069;

// QT atom containers
constexpr OSErr cannotFindAtomErr = -2101;
constexpr OSErr notLeafAtomErr = -2102;
constexpr OSErr atomsNotOfSameTypeErr = -2103;
constexpr OSErr atomIndexInvalidErr = -2104;
constexpr OSErr duplicateAtomTypeAndIDErr = -2105;
constexpr OSErr invalidAtomErr = -2106;
constexpr OSErr invalidAtomContainerErr = -2107;
constexpr OSErr invalidAtomTypeErr = -2108;
constexpr OSErr cannotBeLeafAtomErr = -2109;

// Image Compression Manager
constexpr OSErr codecErr = -8960;
constexpr OSErr noCodecErr = -8961;
constexpr OSErr codecUnimpErr = -8962;
constexpr OSErr codecSizeErr = -8963;
constexpr OSErr codecScreenBufErr = -8964;
constexpr OSErr codecImageBufErr = -8965;
constexpr OSErr codecSpoolErr = -8966;
constexpr OSErr codecAbortErr = -8967;
constexpr OSErr codecWouldOffscreenErr = -8968;
constexpr OSErr codecBadDataErr = -8969;
constexpr OSErr codecDataVersErr = -8970;
constexpr OSErr codecExtensionNotFoundErr = -8971;
constexpr OSErr scTypeNotFoundErr = codecExtensionNotFoundErr;
constexpr OSErr codecConditionErr = -8972;
constexpr OSErr codecOpenErr = -8973;
constexpr OSErr codecCantWhenErr = -8974;
constexpr OSErr codecCantQueueErr = -8975;
constexpr OSErr codecNothingToBlitErr = -8976;
constexpr OSErr codecNoMemoryPleaseWaitErr = -8977;
constexpr OSErr codecDisabledErr = -8978;
constexpr OSErr codecNeedToFlushChainErr = -8979;
constexpr OSErr lockPortBitsBadSurfaceErr = -8980;
constexpr OSErr lockPortBitsWindowMovedErr = -8981;
constexpr OSErr lockPortBitsWindowResizedErr = -8982;
constexpr OSErr lockPortBitsWindowClippedErr = -8983;
constexpr OSErr lockPortBitsBadPortErr = -8984;
constexpr OSErr lockPortBitsSurfaceLostErr = -8985;
constexpr OSErr codecParameterDialogConfirm = -8986;
constexpr OSErr codecNeedAccessKeyErr = -8987;
constexpr OSErr codecOffscreenFailedErr = -8988;
constexpr OSErr codecDroppedFrameErr = -8989;
constexpr OSErr directXObjectAlreadyExists = -8990;
constexpr OSErr lockPortBitsWrongGDeviceErr = -8991;
constexpr OSErr codecOffscreenFailedPleaseRetryErr = -8992;
constexpr OSErr badCodecCharacterizationErr = -8993;
constexpr OSErr noThumbnailFoundErr = -8994;

// Properties, metadata and media with display offsets
constexpr OSErr kQTPropertyBadValueSizeErr = -2184;
constexpr OSErr kQTPropertyNotSupportedErr = -2195;
constexpr OSErr kQTPropertyAskLaterErr = -2200;
constexpr OSErr kQTPropertyReadOnlyErr = -2191;
constexpr OSErr kQTPropertyArrayElementUnprocessedErr = -9465;
constexpr OSErr kQTCannotCoerceValueErr = -2192;
constexpr OSErr kQTMessageNotHandledErr = -2194;
constexpr OSErr kQTMessageCommandNotSupportedErr = -2196;
constexpr OSErr kQTMessageNoSuchParameterErr = -2197;
constexpr OSErr kQTObsoleteLPCMSoundFormatErr = -2171;
constexpr OSErr kQTIncompatibleDescriptionErr = -2166;
constexpr OSErr kQTMetaDataInvalidMetaDataErr = -2173;
constexpr OSErr kQTMetaDataInvalidItemErr = -2174;
constexpr OSErr kQTMetaDataInvalidStorageFormatErr = -2175;
constexpr OSErr kQTMetaDataInvalidKeyFormatErr = -2176;
constexpr OSErr kQTMetaDataNoMoreItemsErr = -2177;
constexpr OSErr kQTMediaDoesNotSupportDisplayOffsetsErr = -9460;
constexpr OSErr kQTMediaHasDisplayOffsetsErr = -9461;
constexpr OSErr kQTDisplayTimeAlreadyInUseErr = -9462;
constexpr OSErr kQTDisplayTimeTooEarlyErr = -9463;
constexpr OSErr kQTTimeValueTooBigErr = -9464;
constexpr OSErr kICMCodecCantQueueOutOfOrderErr = -8995;

// Sound
constexpr OSErr badFormat = -206;
constexpr OSErr notEnoughBufferSpace = -207;
constexpr OSErr siInvalidCompression = -223;

// Codes outside the 16-bit OSErr range are OSStatus values.
constexpr OSStatus badComponentInstance = static_cast<OSStatus>(0x80008001);
constexpr OSStatus badComponentSelector = static_cast<OSStatus>(0x80008002);
