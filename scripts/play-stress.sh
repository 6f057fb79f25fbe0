#!/bin/sh
# Live play under load: a JACK server with the dummy backend at 64 frames a block, Qel Synth
# playing a dense MIDI file (made with mido) for 60 seconds, and beside it the conformity suite
# running on Qel Gain again and again. Prints the xruns, the blocks skipped and the audio thread's
# allocations of the play.
#
#     scripts/play-stress.sh [BUILD-DIR] [SECONDS] [realtime|no-realtime]
#
# With "realtime" (the default where this user may use real-time scheduling) jackd runs its
# clients' process threads with real-time priority, as a studio machine does; "no-realtime"
# is jackd -r, where the suite beside the play competes with the audio thread on equal terms.
set -eu
build=${1:-build-dev}
seconds=${2:-60}
mode=${3:-}
if [ -z "$mode" ]; then
    if chrt -f 10 true 2>/dev/null; then mode=realtime; else mode=no-realtime; fi
fi
case "$mode" in
    realtime) jack_rt="-R -P 70" ;;
    no-realtime) jack_rt="-r" ;;
    *) echo "usage: $0 [BUILD-DIR] [SECONDS] [realtime|no-realtime]" >&2; exit 2 ;;
esac
here=$(cd "$(dirname "$0")/.." && pwd)
cd "$here"
cmake --build "$build" --target play_stress Qel3PluginTestHost QelSynth QelGain -j2 >/dev/null
work=$(mktemp -d)
server="qelstress-$$"
jackd_pid=
suite_pid=
cleanup() {
    [ -n "$suite_pid" ] && kill "$suite_pid" 2>/dev/null || true
    [ -n "$jackd_pid" ] && kill "$jackd_pid" 2>/dev/null || true
    [ -n "$jackd_pid" ] && wait "$jackd_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT INT TERM

# Sixteenth notes of four-note chords at 120 beats per minute for the whole run: 32 notes a
# second start and end, with a controller sweep between them.
/usr/bin/python3 - "$work/dense.mid" "$seconds" <<'PY'
import sys, mido
path, seconds = sys.argv[1], float(sys.argv[2])
f = mido.MidiFile(ticks_per_beat=480)
t = mido.MidiTrack(); f.tracks.append(t)
t.append(mido.MetaMessage('set_tempo', tempo=500000, time=0))
steps = int(seconds * 8) + 8
for i in range(steps):
    root = 36 + (i * 7) % 48
    chord = [root, root + 4, root + 7, root + 11]
    for n, note in enumerate(chord):
        t.append(mido.Message('note_on', note=note, velocity=60 + (i % 60), time=0))
    t.append(mido.Message('control_change', control=74, value=i % 128, time=60))
    for n, note in enumerate(chord):
        t.append(mido.Message('note_off', note=note, velocity=0, time=60 if n == 0 else 0))
f.save(path)
PY

# shellcheck disable=SC2086 # the options are words of their own
JACK_NO_AUDIO_RESERVATION=1 jackd $jack_rt -n "$server" -d dummy -r 48000 -p 64 >"$work/jackd.log" 2>&1 &
jackd_pid=$!
i=0
until jack_lsp -s "$server" >/dev/null 2>&1; do
    i=$((i + 1))
    [ $i -gt 100 ] && { echo "jackd did not start" >&2; cat "$work/jackd.log" >&2; exit 1; }
    sleep 0.1
done

# The conformity suite beside the play, round after round, until the play ends.
(
    rounds=0
    while [ ! -e "$work/stop" ]; do
        "$build/bin/Qel3PluginTestHost" --test --class "Qel Gain" "$build/bin/QEL3" \
            --config-dir "$work/config" --log "$work/suite.log" >"$work/suite.out" 2>&1 || true
        rounds=$((rounds + 1))
        echo "$rounds" >"$work/rounds"
    done
) &
suite_pid=$!

echo "Playing Qel Synth for $seconds s under jackd $jack_rt -p 64 ($mode) beside the conformity suite on Qel Gain"
JACK_DEFAULT_SERVER="$server" "$build/benchmarks/play_stress" "$build/bin/QEL3" "Qel Synth" \
    "$work/dense.mid" "$seconds"
# The round under way ends by itself.
touch "$work/stop"
wait "$suite_pid" 2>/dev/null || true
suite_pid=
printf 'ConformityRounds\t%s\t(last: %s)\n' "$(cat "$work/rounds" 2>/dev/null || echo 0)" \
    "$(tail -n 1 "$work/suite.out")"
