#include "engine/midiconversion.h"

#include <gtest/gtest.h>

namespace Quillmark::MiniEngine
{
namespace
{

using Qel::Event;

class MidiConversion : public ::testing::Test
{
protected:
    void SetUp() override
    {
        context.tempo = 120.0;
        context.sampleRate = 48000.0;
        context.projectTimeSamples = 48000; // the block starts at second 1
        buffers.numSamples = 64;
        buffers.context = &context;
        buffers.blockStartMusic = 2.0;
        buffers.blockEndMusic = 2.0 + 64 / 24000.0;
    }

    Event convert(MidiMessage message, bool legacyOutput = false, bool* taken = nullptr)
    {
        Event event{};
        const bool result = convertMidiMessage(message, 3, legacyOutput, buffers, 48000.0, event);
        if (taken)
            *taken = result;
        return event;
    }

    static MidiMessage message(uint8 status, uint8 data1, uint8 data2 = 0)
    {
        MidiMessage result;
        result.status = status;
        result.data1 = data1;
        result.data2 = data2;
        result.live = true;
        return result;
    }

    Qel::ProcessContext context{};
    OperatorBuffers buffers;
};

TEST(MidiScale, ProgramChangeAndPitchBendUseTheirExactFactors)
{
    EXPECT_DOUBLE_EQ(MidiScale::program(0), 0.0);
    EXPECT_EQ(MidiScale::program(64), 64 * 0.007874015748031496);
    EXPECT_NEAR(MidiScale::program(127), 1.0, 1e-15);
    EXPECT_EQ(MidiScale::pitchBend(0x7f, 0x7f), 16383 * 6.103888176768602e-05);
    EXPECT_NEAR(MidiScale::pitchBend(0x7f, 0x7f), 1.0, 1e-12);
    EXPECT_NEAR(MidiScale::pitchBend(0x00, 0x40), 8192.0 / 16383.0, 1e-12);
    EXPECT_EQ(MidiScale::pitchBend(0xff, 0xc0), MidiScale::pitchBend(0x7f, 0x40))
        << "only seven bits of each byte count";
    EXPECT_EQ(MidiScale::controller(127), float(127) * 0.007874016f);
    EXPECT_EQ(messageType(0x93), 0x90);
    EXPECT_EQ(messageType(0xf8), 0xf8);
}

TEST_F(MidiConversion, NotesCarryChannelPitchVelocityAndIdentity)
{
    MidiMessage on = message(0x92, 60, 127);
    on.noteId = 17;
    on.hasDetune = true;
    on.detune = -12.5f;
    Event event = convert(on);
    EXPECT_EQ(event.busIndex, 3);
    EXPECT_EQ(event.type, Event::kNoteOnEvent);
    EXPECT_EQ(event.flags, Event::kIsLive);
    EXPECT_EQ(event.noteOn.channel, 2);
    EXPECT_EQ(event.noteOn.pitch, 60);
    EXPECT_FLOAT_EQ(event.noteOn.velocity, 1.0f);
    EXPECT_EQ(event.noteOn.noteId, 17);
    EXPECT_FLOAT_EQ(event.noteOn.tuning, -12.5f);
    EXPECT_EQ(event.sampleOffset, 0) << "live: at the block's start";
    EXPECT_EQ(event.ppqPosition, 2.0);

    event = convert(message(0x92, 60, 0));
    EXPECT_EQ(event.type, Event::kNoteOffEvent) << "velocity 0 ends the note";
    EXPECT_EQ(event.noteOff.pitch, 60);
    event = convert(message(0x85, 61, 64));
    EXPECT_EQ(event.type, Event::kNoteOffEvent);
    EXPECT_EQ(event.noteOff.channel, 5);
    EXPECT_FLOAT_EQ(event.noteOff.velocity, 64.0f / 127.0f);
}

TEST_F(MidiConversion, TimedMessagesLandInsideTheBlock)
{
    MidiMessage on = message(0x90, 60, 100);
    on.live = false;
    on.time = 1.0 + 10.0 / 48000.0; // ten samples into the block
    EXPECT_EQ(convert(on).sampleOffset, 10);
    on.time = 0.5; // long past
    EXPECT_EQ(convert(on).sampleOffset, 0);
    on.time = 2.0; // far ahead
    EXPECT_EQ(convert(on).sampleOffset, 63);
    EXPECT_EQ(convert(on).ppqPosition, 2.0 * 60.0 / 120.0);
    EXPECT_EQ(convert(on).flags, 0);
}

TEST_F(MidiConversion, ControllersBecomeNoteOnsOrLegacyEvents)
{
    Event event = convert(message(0xb1, 7, 127));
    EXPECT_EQ(event.type, Event::kNoteOnEvent);
    EXPECT_EQ(event.noteOn.pitch, 7);
    EXPECT_FLOAT_EQ(event.noteOn.velocity, 1.0f);
    EXPECT_EQ(event.noteOn.noteId, -1);
    event = convert(message(0xb1, 7, 127), true);
    EXPECT_EQ(event.type, Event::kLegacyMIDICCOutEvent);
    EXPECT_EQ(event.midiCCOut.controlNumber, 7);
    EXPECT_EQ(event.midiCCOut.channel, 1);
    EXPECT_EQ(event.midiCCOut.value, 127);

    event = convert(message(0xd0, 64));
    EXPECT_EQ(event.noteOn.pitch, 0x80);
    EXPECT_FLOAT_EQ(event.noteOn.velocity, 64.0f / 127.0f);
    event = convert(message(0xe0, 0x7f, 0x7f));
    EXPECT_EQ(event.noteOn.pitch, 0x81);
    EXPECT_FLOAT_EQ(event.noteOn.velocity, float(16383 * 6.103888e-05));
    event = convert(message(0xe3, 0x11, 0x22), true);
    EXPECT_EQ(event.midiCCOut.controlNumber, 0x81);
    EXPECT_EQ(event.midiCCOut.value, 0x11);
    EXPECT_EQ(event.midiCCOut.value2, 0x22);

    event = convert(message(0xa4, 60, 127));
    EXPECT_EQ(event.type, Event::kPolyPressureEvent);
    EXPECT_FLOAT_EQ(event.polyPressure.pressure, 1.0f);
    EXPECT_EQ(event.polyPressure.noteId, -1);
    event = convert(message(0xa4, 60, 99), true);
    EXPECT_EQ(event.midiCCOut.controlNumber, 0x83);
    EXPECT_EQ(event.midiCCOut.value, 60);
    EXPECT_EQ(event.midiCCOut.value2, 99);
}

TEST_F(MidiConversion, ProgramChangesOnlyAsLegacyAndSystemMessagesNever)
{
    bool taken = true;
    convert(message(0xc2, 5), false, &taken);
    EXPECT_FALSE(taken);
    const Event event = convert(message(0xc2, 5), true, &taken);
    EXPECT_TRUE(taken);
    EXPECT_EQ(event.midiCCOut.controlNumber, 0x82);
    EXPECT_EQ(event.midiCCOut.value, 5);
    convert(message(0xf8, 0), true, &taken);
    EXPECT_FALSE(taken);
}

} // namespace
} // namespace Quillmark::MiniEngine
