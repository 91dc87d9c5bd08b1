// Our Movie Toolbox answers on movies that ffmpeg wrote, against what ffprobe
// reads from the same files.
#include "FfprobeReport.h"
#include "MovieFixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using namespace vqt::acceptance;

namespace {

long long number(const std::map<std::string, std::string>& fields, const std::string& key) {
    auto it = fields.find(key);
    return it == fields.end() ? -999999 : std::stoll(it->second);
}

std::string text(Handle handle) {
    return std::string(*handle, static_cast<std::size_t>(GetHandleSize(handle)));
}

// Every sample of the first video track: decode and display times, sizes and
// sync flags, against ffprobe's packets (which it reports with the edit's
// start subtracted).
void expectVideoSamplesMatch(const std::string& name) {
    OpenMovie open(name);
    ASSERT_EQ(open.status(), noErr);
    Track track = open.track(VideoMediaType);
    ASSERT_NE(track, nullptr);
    Media media = GetTrackMedia(track);
    const auto stream = streamFields(fixturePath(name), "v:0");
    const auto rows = packets(fixturePath(name), "v:0");
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(GetMediaSampleCount(media), number(stream, "nb_frames"));
    EXPECT_EQ("1/" + std::to_string(GetMediaTimeScale(media)), stream.at("time_base"));
    EXPECT_EQ(countFrames(track), number(stream, "nb_frames"));

    const TimeValue editStart = TrackTimeToMediaTime(0, track);
    TimeValue64 lastSyncTime = -1;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const SInt64 sample = static_cast<SInt64>(i + 1);
        TimeValue64 decodeTime = 0, decodeDuration = 0, displayTime = 0, displayDuration = 0;
        SampleNumToMediaDecodeTime(media, sample, &decodeTime, &decodeDuration);
        SampleNumToMediaDisplayTime(media, sample, &displayTime, &displayDuration);
        EXPECT_EQ(decodeTime - editStart, rows[i].dts) << "sample " << sample;
        EXPECT_EQ(displayTime - editStart, rows[i].pts) << "sample " << sample;
        EXPECT_EQ(decodeDuration, rows[i].duration);

        ByteCount size = 0;
        MediaSampleFlags flags = 0;
        TimeValue64 displayOffset = 0;
        ASSERT_EQ(GetMediaSample2(media, nullptr, 0, &size, decodeTime, nullptr, nullptr, &displayOffset, nullptr,
                                  nullptr, 1, nullptr, &flags), noErr);
        EXPECT_EQ(static_cast<long long>(size), rows[i].size);
        EXPECT_EQ(displayOffset, rows[i].pts - rows[i].dts);
        EXPECT_EQ((flags & mediaSampleNotSync) == 0, rows[i].keyframe) << "sample " << sample;
        if (rows[i].keyframe) lastSyncTime = decodeTime;

        SInt64 found = 0;
        MediaDisplayTimeToSampleNum(media, displayTime, &found, nullptr, nullptr);
        EXPECT_EQ(found, sample);
        TimeValue64 syncTime = 0;
        GetMediaNextInterestingDecodeTime(media, nextTimeSyncSample | nextTimeEdgeOK, decodeTime, -fixed1, &syncTime,
                                          nullptr);
        EXPECT_EQ(GetMoviesError(), noErr);
        EXPECT_EQ(syncTime, lastSyncTime) << "sample " << sample;
    }
    const auto format = formatFields(fixturePath(name));
    EXPECT_NEAR(double(GetMovieDuration(open.movie())) / GetMovieTimeScale(open.movie()), std::stod(format.at("duration")),
                0.002);
}

} // namespace

TEST(ContainerAcceptance, H264WithBFramesInAMovieFile) { expectVideoSamplesMatch("h264-bframes.mov"); }

TEST(ContainerAcceptance, H264WithBFramesInAnMp4File) { expectVideoSamplesMatch("h264-aac.mp4"); }

TEST(ContainerAcceptance, EditListShiftsTheFirstFrame) {
    OpenMovie open("shifted-start.mov");
    ASSERT_EQ(open.status(), noErr);
    Track track = open.track(VideoMediaType);
    ASSERT_NE(track, nullptr);
    const auto rows = packets(fixturePath("shifted-start.mov"), "v:0");
    ASSERT_FALSE(rows.empty());
    const TimeScale movieScale = GetMovieTimeScale(open.movie());
    const TimeScale mediaScale = GetMediaTimeScale(GetTrackMedia(track));
    TimeValue first = -1;
    GetTrackNextInterestingTime(track, nextTimeMediaSample | nextTimeEdgeOK, 0, fixed1, &first, nullptr);
    EXPECT_EQ(first, rows[0].pts * movieScale / mediaScale);
    EXPECT_GT(first, 0);
    EXPECT_EQ(TrackTimeToMediaTime(0, track), -1);
    EXPECT_EQ(TrackTimeToMediaTime(first, track), 0);
    EXPECT_EQ(countFrames(track), static_cast<int>(rows.size()));
    EXPECT_NEAR(double(GetTrackDuration(track)) / movieScale,
                std::stod(formatFields(fixturePath("shifted-start.mov")).at("duration")), 0.002);
}

TEST(ContainerAcceptance, TimecodeTracksGiveTheStartTimecodeAndReel) {
    struct Case { const char* file; SInt32 flags; UInt8 frames; bool hasReel; };
    for (const Case c : {Case{"timecode-reel.mov", 0, 24, true}, Case{"timecode-dropframe.mov", tcDropFrame, 30, false}}) {
        SCOPED_TRACE(c.file);
        OpenMovie open(c.file);
        ASSERT_EQ(open.status(), noErr);
        Track track = open.track(TimeCodeMediaType);
        ASSERT_NE(track, nullptr);
        MediaHandler handler = GetMediaHandler(GetTrackMedia(track));
        UserData source = nullptr;
        ASSERT_EQ(NewUserData(&source), noErr);
        SInt32 frame = 0;
        TimeCodeDef definition{};
        TimeCodeRecord record{};
        ASSERT_EQ(TCGetCurrentTimeCode(handler, &frame, &definition, &record, &source), noErr);
        EXPECT_EQ(definition.flags & tcDropFrame, c.flags);
        EXPECT_EQ(definition.numFrames, c.frames);
        Str255 timecode{};
        ASSERT_EQ(TCTimeCodeToString(handler, &definition, &record, timecode), noErr);
        const auto tags = streamFields(fixturePath(c.file), "d:0");
        EXPECT_EQ(std::string(reinterpret_cast<char*>(timecode + 1), timecode[0]), tags.at("TAG:timecode"));

        Handle reel = NewHandle(0);
        const OSErr found = GetUserDataText(source, reel, 'name', 1, 0);
        if (c.hasReel) {
            ASSERT_EQ(found, noErr);
            EXPECT_EQ(text(reel), tags.at("TAG:reel_name"));
        } else {
            EXPECT_EQ(found, userDataItemNotFound);
        }
        DisposeHandle(reel);
        DisposeUserData(source);
    }
}

TEST(ContainerAcceptance, MdtaMetadataKeysAndValues) {
    OpenMovie open("metadata.mov");
    ASSERT_EQ(open.status(), noErr);
    const auto format = formatFields(fixturePath("metadata.mov"));
    QTMetaDataRef metadata = nullptr;
    ASSERT_EQ(QTCopyMovieMetaData(open.movie(), &metadata), noErr);
    QTMetaDataItem item = kQTMetaDataItemUninitialized;
    int items = 0;
    OSStatus walk = noErr;
    while ((walk = QTMetaDataGetNextItem(metadata, kQTMetaDataStorageFormatQuickTime, item,
                                         kQTMetaDataKeyFormatQuickTime, nullptr, 0, &item)) == noErr) {
        ByteCount keySize = 0;
        ASSERT_EQ(QTMetaDataGetItemPropertyInfo(metadata, item, kPropertyClass_MetaDataItem,
                                                kQTMetaDataItemPropertyID_Key, nullptr, &keySize, nullptr), noErr);
        std::string key(keySize, '\0');
        QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Key, keySize,
                                  key.data(), nullptr);
        UInt32 dataType = 0;
        QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_DataType, 4,
                                  &dataType, nullptr);
        char value[1024];
        ByteCount valueSize = 0;
        ASSERT_EQ(QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem,
                                            kQTMetaDataItemPropertyID_Value, sizeof value, value, &valueSize), noErr);
        EXPECT_EQ(dataType, kQTMetaDataTypeUTF8);
        ASSERT_TRUE(format.count("TAG:" + key)) << key;
        EXPECT_EQ(std::string(value, valueSize), format.at("TAG:" + key));
        ++items;
    }
    EXPECT_EQ(walk, kQTMetaDataNoMoreItemsErr);
    // ffprobe adds the file type's three brand tags to the items.
    std::size_t tags = 0;
    for (const auto& [key, value] : format) tags += key.rfind("TAG:", 0) == 0;
    EXPECT_EQ(static_cast<std::size_t>(items), tags - 3);
    EXPECT_GE(items, 3);
    QTMetaDataRelease(metadata);
}

TEST(ContainerAcceptance, PixelAspectRatioOfTheImageDescription) {
    OpenMovie open("pasp.mov");
    ASSERT_EQ(open.status(), noErr);
    Media media = GetTrackMedia(open.track(VideoMediaType));
    Handle description = NewHandle(0);
    ASSERT_EQ(GetMediaSample2(media, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr,
                              reinterpret_cast<SampleDescriptionHandle>(description), nullptr, 1, nullptr, nullptr), noErr);
    auto image = reinterpret_cast<ImageDescriptionHandle>(description);
    const auto stream = streamFields(fixturePath("pasp.mov"), "v:0");
    EXPECT_EQ((**image).width, number(stream, "width"));
    EXPECT_EQ((**image).height, number(stream, "height"));
    PixelAspectRatioImageDescriptionExtension pasp{};
    ASSERT_EQ(ICMImageDescriptionGetProperty(image, kQTPropertyClass_ImageDescription,
                                             kICMImageDescriptionPropertyID_PixelAspectRatio, sizeof pasp, &pasp,
                                             nullptr), noErr);
    EXPECT_EQ(std::to_string(pasp.hSpacing) + ":" + std::to_string(pasp.vSpacing), stream.at("sample_aspect_ratio"));
    DisposeHandle(description);
}

TEST(ContainerAcceptance, SoundFormatsAndSampleCounts) {
    for (const char* format : {"pcm_s16le", "pcm_s16be", "pcm_s24be", "pcm_s32be", "pcm_f32be", "pcm_f64be", "alac", "aac"}) {
        const std::string name = std::string("sound-") + format + ".mov";
        SCOPED_TRACE(name);
        OpenMovie open(name);
        ASSERT_EQ(open.status(), noErr);
        Track track = open.track(SoundMediaType);
        ASSERT_NE(track, nullptr);
        Media media = GetTrackMedia(track);
        const auto stream = streamFields(fixturePath(name), "a:0");
        EXPECT_EQ(GetMediaSampleCount(media), number(stream, "nb_frames"));
        EXPECT_EQ(GetMediaTimeScale(media), number(stream, "sample_rate"));
        // Priming samples make the stored duration of AAC longer than what plays.
        if (std::strcmp(format, "aac") != 0) {
            EXPECT_EQ(GetMediaDuration(media), number(stream, "duration_ts"));
        }

        Handle description = NewHandle(0);
        ASSERT_EQ(GetMediaSample2(media, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr,
                                  reinterpret_cast<SampleDescriptionHandle>(description), nullptr, 1, nullptr, nullptr),
                  noErr);
        auto sound = reinterpret_cast<SoundDescriptionHandle>(description);
        const OSType type = (**sound).dataFormat;
        const char tag[5] = {char(type >> 24), char(type >> 16), char(type >> 8), char(type), 0};
        EXPECT_EQ(std::string(tag), stream.at("codec_tag_string"));
        const long channels = (**sound).version == 2
                                  ? long(reinterpret_cast<SoundDescriptionV2Handle>(sound)[0]->numAudioChannels)
                                  : long((**sound).numChannels);
        EXPECT_EQ(channels, number(stream, "channels"));
        DisposeHandle(description);
    }
}
