#include "midi/minitempotrack.h"

#include "base/singleton.h"

#include <algorithm>
#include <cmath>

namespace Quillmark
{

MiniTempoTrack* MiniTempoTrack::instance()
{
    return singletonInstance<MiniTempoTrack>();
}

MiniTempoTrack::MiniTempoTrack()
{
    context.state = kInitialState;
    context.sampleRate = 44100.0;
    context.tempo = 120.0;
    context.timeSigNumerator = 4;
    context.timeSigDenominator = 4;
}

void MiniTempoTrack::clearMaps()
{
    tempoEvents.removeAll();
    signatureEvents.removeAll();
    songLengthMusic = 0.0;
}

double MiniTempoTrack::tempoFromEvent(const TempoChangeEvent& event) const
{
    return event.getBpm() * tempoScale;
}

void MiniTempoTrack::updateTempo()
{
    // The scale stretches the whole song alike, whichever tempo is in force.
    baseTempo = useTrackTempo ? trackTempo : fixedTempo;
    context.tempo = baseTempo * tempoScale;
}

void MiniTempoTrack::applyFirstEvents()
{
    if (auto* tempo = static_cast<TempoChangeEvent*>(tempoEvents.getFirstEvent()))
    {
        if (double bpm = tempo->getBpm(); bpm > 0)
            trackTempo = bpm;
        updateTempo();
    }
    if (auto* signature = static_cast<SignatureChangeEvent*>(signatureEvents.getFirstEvent()))
        setSignature(signature->getNumerator(), signature->getDenominator());
}

void MiniTempoTrack::applyRange(double start, double end)
{
    for (PEvent* e = tempoEvents.getFirstEvent(); e && e->getTime() < end; e = e->getNextEvent())
    {
        if (e->getTime() < start)
            continue;
        if (double bpm = static_cast<TempoChangeEvent*>(e)->getBpm(); bpm > 0)
            trackTempo = bpm;
        updateTempo();
    }
    for (PEvent* e = signatureEvents.getFirstEvent(); e && e->getTime() < end;
         e = e->getNextEvent())
    {
        if (e->getTime() < start)
            continue;
        auto* signature = static_cast<SignatureChangeEvent*>(e);
        setSignature(signature->getNumerator(), signature->getDenominator());
    }
}

void MiniTempoTrack::setSignature(int32 numerator, int32 denominator)
{
    // A signature without beats would make bars of length 0.
    if (numerator <= 0 || denominator <= 0)
        return;
    context.timeSigNumerator = numerator;
    context.timeSigDenominator = denominator;
}

void MiniTempoTrack::setPosition(double quarterNotes)
{
    context.projectTimeMusic = quarterNotes;
    double barLength = double(context.timeSigNumerator) / double(context.timeSigDenominator) * 4.0;
    double remainder = std::fmod(quarterNotes, barLength);
    double barStart = quarterNotes - remainder;
    if (remainder < 0)
        barStart -= barLength;
    context.barPositionMusic = barStart;
}

void MiniTempoTrack::advance(double quarterNotes)
{
    setPosition(context.projectTimeMusic + quarterNotes);
}

double MiniTempoTrack::seek(double ratio)
{
    songPositionRatio = ratio;
    double position = ratio * songLengthMusic;
    if (snapToGrid && ratio != 1.0)
    {
        double denominator = context.timeSigDenominator;
        position = double(int64(denominator * position + 0.5)) / denominator;
        if (songLengthMusic != 0.0)
            songPositionRatio = position / songLengthMusic;
    }
    if (position != context.projectTimeMusic)
    {
        setPosition(position);
        context.projectTimeSamples = Qel::TSamples(getSeconds(position) * context.sampleRate + 0.5);
    }
    return songPositionRatio;
}

double MiniTempoTrack::getSeconds(double quarterNotes) const
{
    if (!useTrackTempo || tempoEvents.isEmpty())
        return quarterNotes * 60.0 / context.tempo;
    // Each stretch between two changes lasts its length at the tempo in force over it.
    double seconds = 0.0;
    double previous = 0.0;
    double tempo = baseTempo * tempoScale;
    for (PEvent* e = tempoEvents.getFirstEvent(); e; e = e->getNextEvent())
    {
        double at = std::max(e->getTime(), 0.0);
        if (at >= quarterNotes)
            break;
        seconds += (at - previous) * 60.0 / tempo;
        if (double bpm = tempoFromEvent(*static_cast<TempoChangeEvent*>(e)); bpm > 0)
            tempo = bpm;
        previous = at;
    }
    return seconds + (quarterNotes - previous) * 60.0 / tempo;
}

void MiniTempoTrack::setFixedTempo(double bpm)
{
    if (bpm <= 0)
        return;
    fixedTempo = bpm;
    updateTempo();
}

void MiniTempoTrack::setFollowSong(bool state)
{
    useTrackTempo = state;
    updateTempo();
}

void MiniTempoTrack::setTempoScale(double factor)
{
    if (factor > 0)
        tempoScale = factor;
    updateTempo();
}

void MiniTempoTrack::raiseSongLength(double position)
{
    if (position > songLengthMusic)
        songLengthMusic = position;
}

} // namespace Quillmark
