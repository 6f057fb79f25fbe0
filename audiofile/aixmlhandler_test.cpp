#include "audiofile/aixmlhandler.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilekeys.h"
#include "audiofile/audiotestsupport.h"
#include "base/optimaudio/audiokernels.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Quillmark;
using namespace Quillmark::testing;
namespace Keys = Quillmark::AudioKeys;

namespace
{

const char* const kRecorderDocument = R"(<?xml version="1.0" encoding="UTF-8"?>
<BWFXML>
  <IXML_VERSION>1.61</IXML_VERSION>
  <PROJECT>Night Shoot</PROJECT>
  <SCENE>12A</SCENE>
  <TAKE>3</TAKE>
  <TAPE>DAY04</TAPE>
  <NOTE>wind noise &amp; traffic</NOTE>
  <SPEED>
    <MASTER_SPEED>30000/1001</MASTER_SPEED>
    <TIMECODE_RATE>30000/1001</TIMECODE_RATE>
  </SPEED>
  <TRACK_LIST>
    <TRACK_COUNT>3</TRACK_COUNT>
    <TRACK><CHANNEL_INDEX>1</CHANNEL_INDEX><INTERLEAVE_INDEX>1</INTERLEAVE_INDEX>
      <NAME>Boom</NAME><FUNCTION>LFE-GENERIC</FUNCTION></TRACK>
    <TRACK><CHANNEL_INDEX>4</CHANNEL_INDEX><INTERLEAVE_INDEX>3</INTERLEAVE_INDEX>
      <NAME>Lav 2</NAME><FUNCTION>LFE-5.1</FUNCTION></TRACK>
    <TRACK><CHANNEL_INDEX>2</CHANNEL_INDEX><INTERLEAVE_INDEX>2</INTERLEAVE_INDEX>
      <NAME>Lav 1</NAME><FUNCTION>SOMETHING-NEW</FUNCTION></TRACK>
  </TRACK_LIST>
  <BEXT>
    <BWF_DESCRIPTION>from iXML</BWF_DESCRIPTION>
    <BWF_ORIGINATOR>Recorder 833</BWF_ORIGINATOR>
    <BWF_ORIGINATION_TIME>06:07:08</BWF_ORIGINATION_TIME>
    <BWF_ORIGINATION_DATE>2023-11-05</BWF_ORIGINATION_DATE>
    <BWF_TIME_REFERENCE_HIGH>1</BWF_TIME_REFERENCE_HIGH>
    <BWF_TIME_REFERENCE_LOW>5</BWF_TIME_REFERENCE_LOW>
    <BWF_LOUDNESS_VALUE>-23.50</BWF_LOUDNESS_VALUE>
  </BEXT>
  <QUILLMARK><ATTR_LIST>
    <ATTR><TYPE>string</TYPE><NAME>CustomLabel</NAME><FLAGS>0</FLAGS><VALUE>blue</VALUE></ATTR>
    <ATTR><TYPE>float</TYPE><NAME>CustomGain</NAME><FLAGS>0</FLAGS><VALUE>0.25</VALUE></ATTR>
    <ATTR><TYPE>int</TYPE><NAME>CustomCount</NAME><FLAGS>0</FLAGS><VALUE>7</VALUE></ATTR>
    <ATTR><TYPE>int</TYPE><NAME>AudioSampleRate</NAME><FLAGS>0</FLAGS><VALUE>8</VALUE></ATTR>
  </ATTR_LIST></QUILLMARK>
</BWFXML>
)";

std::string text(const FAttributes& tree, const char* key)
{
    String value;
    return tree.getString(key, value) ? value.toUtf8() : std::string("<none>");
}

TEST(AIXmlHandler, ReadsARecordersDocument)
{
    FAttributes tree;
    tree.setString(Keys::kBWFDescription, "from bext");
    tree.setInt(Keys::kChannels, 3);
    ASSERT_TRUE(AIXmlHandler::import(kRecorderDocument, std::strlen(kRecorderDocument), tree));

    EXPECT_EQ("Night Shoot", text(tree, Keys::kProjectName));
    EXPECT_EQ("12A", text(tree, "AudioScene"));
    EXPECT_EQ("3", text(tree, "AudioTake"));
    EXPECT_EQ("DAY04", text(tree, "AudioReel"));
    EXPECT_EQ("wind noise & traffic", text(tree, Keys::kNotes));
    EXPECT_EQ("Recorder 833", text(tree, Keys::kAuthor));
    // What bext already said stays.
    EXPECT_EQ("from bext", text(tree, Keys::kBWFDescription));
    double rate = 0;
    ASSERT_TRUE(tree.getFloat("MediaFrameRate", rate));
    EXPECT_NEAR(29.97002997, rate, 1e-8);
    // The high half came first; both halves survive.
    int64 samples = 0;
    ASSERT_TRUE(tree.getInt(Keys::kOriginTimeSamples, samples));
    EXPECT_EQ((int64(1) << 32) + 5, samples);
    // The time came before the date; they merge.
    int64 date = 0;
    ASSERT_TRUE(tree.getInt(Keys::kRecordDate, date));
    EXPECT_EQ(1699164428, date); // 2023-11-05 06:07:08 UTC
    double loudness = 0;
    ASSERT_TRUE(tree.getFloat(Keys::kBWFLoudnessValue, loudness));
    EXPECT_EQ(-23.5, loudness);

    FSubList* tracks = tree.getSubList(Keys::kChannelList);
    ASSERT_TRUE(tracks);
    ASSERT_EQ(3, tracks->count());
    int64 type = 0, number = 0;
    EXPECT_TRUE(tracks->at(0)->getInt(Keys::kChannelType, type));
    EXPECT_EQ(4, type);
    EXPECT_TRUE(tracks->at(2)->getInt(Keys::kChannelType, type));
    EXPECT_EQ(4, type);
    EXPECT_TRUE(tracks->at(2)->getInt("ChannelTrackNumber", number));
    EXPECT_EQ(4, number);
    EXPECT_EQ("Lav 2", text(*tracks->at(2), "ChannelTrackName"));
    EXPECT_FALSE(tracks->at(1)->contains(Keys::kChannelType)) << "an unknown word sets nothing";
    EXPECT_EQ("Lav 1", text(*tracks->at(1), "ChannelTrackName"));

    EXPECT_EQ("blue", text(tree, "CustomLabel"));
    double gain = 0;
    EXPECT_TRUE(tree.getFloat("CustomGain", gain));
    EXPECT_EQ(0.25, gain);
    int64 count = 0;
    EXPECT_TRUE(tree.getInt("CustomCount", count));
    EXPECT_EQ(7, count);
    EXPECT_FALSE(tree.contains(Keys::kSampleRate)) << "excluded keys are never read back";
}

TEST(AIXmlHandler, KeepsWhatItReadBeforeTheTextBroke)
{
    const std::string broken = "<?xml version=\"1.0\"?><BWFXML><SCENE>4</SCENE><TAKE>9</TAK";
    FAttributes tree;
    EXPECT_FALSE(AIXmlHandler::import(broken.data(), broken.size(), tree));
    EXPECT_EQ("4", text(tree, "AudioScene"));
    EXPECT_FALSE(tree.contains("AudioTake"));
}

TEST(AIXmlHandler, WritesMasterSpeedsAndFunctionsByItsTables)
{
    EXPECT_EQ("30000/1001", AIXmlHandler::masterSpeed(30000.0 / 1001));
    EXPECT_EQ("24000/1001", AIXmlHandler::masterSpeed(23.976));
    EXPECT_EQ("60/1", AIXmlHandler::masterSpeed(60));
    EXPECT_EQ("125000/10000", AIXmlHandler::masterSpeed(12.5));
    EXPECT_EQ("LFE-5.1", AIXmlHandler::functionWord(4, 15));
    EXPECT_EQ("LFE-GENERIC", AIXmlHandler::functionWord(4, 99));
    EXPECT_EQ("", AIXmlHandler::functionWord(0, 99));
}

TEST(AIXmlHandler, WhatItWritesReadsBackTheSame)
{
    FAttributes tree;
    tree.setString("AudioScene", "7");
    tree.setString(Keys::kNotes, "a <quiet> take");
    tree.setFloat("MediaFrameRate", 30000.0 / 1001);
    tree.setInt(Keys::kRecordDate, 1699164428);
    tree.setFloat(Keys::kOriginTime, 100000.0);
    tree.setFloat(Keys::kSampleRate, 48000);
    tree.setFloat(Keys::kBWFLoudnessRange, 4.5);
    tree.setInt(Keys::kChannels, 2);
    FSubList* channels = tree.setSubList(Keys::kChannelList);
    channels->add()->setInt(Keys::kChannelType, 1);
    channels->add()->setInt(Keys::kChannelType, 2);
    tree.setString("CustomLabel", "kept");
    tree.setInt(Keys::kFrameCount, 99);

    const std::string document = AIXmlHandler::render(tree);
    EXPECT_EQ(0u, document.find("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<BWFXML>"));
    EXPECT_NE(std::string::npos, document.find("<MASTER_SPEED>30000/1001</MASTER_SPEED>"));
    EXPECT_NE(std::string::npos, document.find("<FUNCTION>L-MIX</FUNCTION>"));
    EXPECT_NE(std::string::npos, document.find("<BWF_LOUDNESS_RANGE>4.50</BWF_LOUDNESS_RANGE>"));
    EXPECT_EQ(std::string::npos, document.find("MediaFrameCount"));

    FAttributes back;
    ASSERT_TRUE(AIXmlHandler::import(document.data(), document.size(), back));
    EXPECT_EQ("7", text(back, "AudioScene"));
    EXPECT_EQ("a <quiet> take", text(back, Keys::kNotes));
    EXPECT_EQ("kept", text(back, "CustomLabel"));
    int64 date = 0, samples = 0;
    back.getInt(Keys::kRecordDate, date);
    EXPECT_EQ(1699164428, date);
    back.getInt(Keys::kOriginTimeSamples, samples);
    EXPECT_EQ(4800000000, samples); // beyond 32 bits: both halves
    ASSERT_TRUE(back.getSubList(Keys::kChannelList));
    int64 type = 0;
    back.getSubList(Keys::kChannelList)->at(1)->getInt(Keys::kChannelType, type);
    EXPECT_EQ(2, type);
}

TEST(AIXmlHandler, TravelsInAWaveFileAndReusesItsRoom)
{
    installAudioKernels();
    AudioTempFolder temp;
    const std::string path = temp.file("slate.wav");
    {
        auto* file = new AudioFile(path);
        file->setDefaultAttributes();
        file->setChannelCount(2);
        file->getAttributes().setInt(Keys::kChunkIXML, 1);
        file->getAttributes().setString("AudioScene", "21");
        file->getAttributes().setString(Keys::kProjectName, "Harbour");
        std::unique_ptr<AudioAccessStream> stream(file->createFile());
        ASSERT_TRUE(stream);
        std::vector<int16> samples(2 * 1001, 100);
        EXPECT_EQ(1001, stream->write(1001, samples.data()));
        stream.reset();
        file->release();
    }
    std::string info;
    ASSERT_EQ(0, runTool(std::string(SNDFILE_INFO_PROGRAM) + " " + shellQuoted(path), &info));
    EXPECT_NE(std::string::npos, info.find("iXML")) << info;
    EXPECT_NE(std::string::npos, info.find("Frames      : 1001")) << info;
    // Read back, the text comes out of the file; written again, the old text's room is
    // reused once a new text fits it, so repeated updates do not grow the file.
    auto* file = new AudioFile(path);
    EXPECT_EQ(1001, file->getFrameCount());
    EXPECT_EQ("21", text(file->getAttributes(), "AudioScene"));
    EXPECT_EQ("Harbour", text(file->getAttributes(), Keys::kProjectName));
    ASSERT_TRUE(file->getHandler()->updateFile());
    const size_t size = readBytes(path).size();
    file->getAttributes().setString("AudioScene", "2");
    ASSERT_TRUE(file->getHandler()->updateFile());
    EXPECT_EQ(size, readBytes(path).size());
    file->release();
    auto* again = new AudioFile(path);
    EXPECT_EQ(1001, again->getFrameCount());
    EXPECT_EQ("2", text(again->getAttributes(), "AudioScene"));
    again->release();
    ASSERT_EQ(0, runTool(std::string(SNDFILE_INFO_PROGRAM) + " " + shellQuoted(path), &info));
    EXPECT_NE(std::string::npos, info.find("Frames      : 1001")) << info;
}

} // namespace
