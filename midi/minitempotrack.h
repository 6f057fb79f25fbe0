// The one holder of the transport and the tempo map: where the song stands, at which tempo and
// signature, and how positions in quarter notes become seconds and samples. Made at first use
// and released at process end. No lock: the engine alone writes the position and the user
// interface alone writes the tempo fields; either side sees the other's change at the next block.
#pragma once

#include "midi/peventqueue.h"

#include "qel3/iaudioprocessor.h"

namespace Quillmark
{

class MiniTempoTrack : public FObject
{
public:
    static constexpr uint32 kInitialState = 0x22f00;

    /** The process-wide instance; null only after the process has started ending. */
    static MiniTempoTrack* instance();

    MiniTempoTrack();

    // The tempo map. Both lists own their events and stay in time order.
    void addTempoEvent(TempoChangeEvent* event) { tempoEvents.insert(event); }
    void addSignatureEvent(SignatureChangeEvent* event) { signatureEvents.insert(event); }
    const PEventQueue& getTempoEvents() const { return tempoEvents; }
    const PEventQueue& getSignatureEvents() const { return signatureEvents; }
    /** Empties both maps and forgets the song's length, before another song is read. */
    void clearMaps();

    /** Beats per minute of a tempo change, scaled by the tempo factor. */
    double tempoFromEvent(const TempoChangeEvent& event) const;
    /** After a load: the first tempo and signature changes become the song's. */
    void applyFirstEvents();
    /** During playback: the changes in [start, end) take effect, at the start of their block. */
    void applyRange(double start, double end);

    /** The transport position in quarter notes; also places the start of its bar. */
    void setPosition(double quarterNotes);
    double getPosition() const { return context.projectTimeMusic; }
    double getBarStart() const { return context.barPositionMusic; }
    void advance(double quarterNotes);
    /** Moves to a fraction of the song's length, on a beat when snapping; answers the fraction
        that was reached, which snapping may have changed. */
    double seek(double ratio);

    /** Where the transport stands as a fraction of the song's length, 0 when it is unknown. */
    double getSongPositionRatio() const { return songPositionRatio; }
    void setSongPositionRatio(double ratio) { songPositionRatio = ratio; }

    /** Seconds from the song's start to `quarterNotes`, through the tempo changes when the
        song's tempo is followed. */
    double getSeconds(double quarterNotes) const;

    double getTempo() const { return context.tempo; }
    /** The tempo set by hand, used while the song's tempo is not followed. */
    void setFixedTempo(double bpm);
    double getFixedTempo() const { return fixedTempo; }
    double getSongTempo() const { return trackTempo; }
    /** The song's or the fixed tempo, whichever is in force, before the scale. */
    double getBaseTempo() const { return baseTempo; }
    void setFollowSong(bool state);
    bool getFollowSong() const { return useTrackTempo; }
    void setTempoScale(double factor);
    double getTempoScale() const { return tempoScale; }
    void setSnapToGrid(bool state) { snapToGrid = state; }
    bool getSnapToGrid() const { return snapToGrid; }

    int32 getNumerator() const { return context.timeSigNumerator; }
    int32 getDenominator() const { return context.timeSigDenominator; }
    void setSignature(int32 numerator, int32 denominator);

    double getSampleRate() const { return context.sampleRate; }
    void setSampleRate(double rate) { context.sampleRate = rate; }

    /** The end of the last event of the song in quarter notes, 0 when unknown. */
    double getSongLength() const { return songLengthMusic; }
    void raiseSongLength(double position);

    Qel::ProcessContext& getContext() { return context; }
    const Qel::ProcessContext& getContext() const { return context; }

    QEL_DECLARE_CLASS(MiniTempoTrack, FObject)

private:
    void updateTempo();

    PEventQueue tempoEvents;
    PEventQueue signatureEvents;
    Qel::ProcessContext context{};
    double tempoScale = 1.0;
    double fixedTempo = 120.0;
    double trackTempo = 120.0;
    double baseTempo = 120.0;
    double songPositionRatio = 0.0;
    bool useTrackTempo = false;
    bool snapToGrid = false;
    double songLengthMusic = 0.0;
};

} // namespace Quillmark
