# shellcheck shell=bash disable=SC2034
# Test signals of the presets, for `measure`: each has the fault that its preset is for. Floating-point WAV files at
# 48 kHz, the same bytes on every run.
#
# Those made of the speech sample are measured by the tool's own meter, 5 to 10 kHz in fricatives and in vowels. All others
# last 6 s: `at_rest` seconds without the fault, then with it; `band` tells where the fault lies.

sample=../sample/voice.wav
at_rest=2

quiet_sox() { sox -R -D -V1 "$@"; }
synth() { quiet_sox -n -r 48000 -b 32 -e float "$@"; }

# The speech sample through sox effects.
speech() { quiet_sox "$sample" -b 32 -e float "$@"; }

# A sound of up to PERIOD s, once a PERIOD, from START to 6 s.
# events OUT START PERIOD SYNTH-AND-EFFECTS...
events() {
    local out=$1 start=$2 period=$3
    shift 3
    synth event.wav synth "$@"
    quiet_sox event.wav "$out" pad 0 "$period" trim 0 "$period" \
        repeat "$(awk -v s="$start" -v p="$period" 'BEGIN { print int((6 - s) / p) - 1 }')" pad "$start" trim 0 6
}

# Mono files to left and right with gains: place OUT FILE LEFT RIGHT
place() { quiet_sox "$2" "$1" remix "1v$3" "1v$4"; }
sum() { # OUT FILE...: at the files' own levels
    local out=$1 file inputs=()
    shift
    for file; do inputs+=(-v 1 "$file"); done
    quiet_sox -m "${inputs[@]}" "$out" trim 0 6
}

signal_voice() { speech "$1"; }
signal_male() { speech "$1" speed 0.8 rate 48k; }
signal_sung() { speech "$1" pitch 400 tempo 0.65 gain -3; }
signal_boom() { speech "$1" gain -6 treble -4 6000 bass -3 reverb 25 50 30 gain -6; }
signal_lavalier() { speech "$1" gain -9 bass 6 250 treble -5 3000 equalizer 7500 2q 5; }
signal_dull() { speech "$1" gain -3 treble -12 4000; }
signal_whisper() { # noise of 400 Hz takes the voice's harmonics apart, its formants and its level stay
    synth breath.wav synth 5.86 whitenoise lowpass 400 gain -n -1
    quiet_sox -T "$sample" breath.wav -b 32 -e float "$1" highpass 300 gain -n -12
}

signal_harsh() { # speech, then with a resonance
    band=2.6k-3.9k
    speech calm.wav gain -3 trim 0 2
    speech loud.wav gain -3 trim 2 equalizer 3200 3q 10
    quiet_sox calm.wav loud.wav "$1"
}
signal_choir() {
    band=5.5k-12k
    local i
    for i in 1 2 3 4 5 6; do
        synth mouth$i.wav synth 6 sawtooth $((200 + 37 * i)).$i lowpass 1500 lowpass 2500 gain -n -26
        place seat$i.wav mouth$i.wav 0.$i 0.$((7 - i))
        events ess$i.wav 2.0$((2 * i)) 1 0.1$i whitenoise sinc 5k-11k fade q 0.02 -0 0.03 gain -n -26
        place part$i.wav ess$i.wav 0.$((7 - i)) 0.$i
    done
    sum "$1" seat?.wav part?.wav
}
signal_plosives() {
    band=25-85
    speech speech.wav gain -6 speed 0.75 rate 48k trim 0 6
    events pops.wav 2 0.7 0.09 sine 90-45 fade t 0.004 -0 0.07 gain -n -6
    sum "$1" speech.wav pops.wav
}
kit() { # snare at -6 dBFS on every second, kick between
    events shell.wav 0 1 0.2 sine 190 fade t 0.001 -0 0.19 gain -n -8
    events wires.wav 0 1 0.18 whitenoise sinc 1k-6k fade t 0.001 -0 0.17 gain -n -12
    events kick.wav 0.5 1 0.25 sine 70-45 fade t 0.002 -0 0.22 gain -n -8
    sum kit.wav shell.wav wires.wav kick.wav
}
signal_overheads() {
    band=4.5k-12k
    kit
    events crash.wav 2.25 2 1.7 whitenoise sinc 3k-16k fade t 0.002 -0 1.6 gain -n -14
    place drums.wav kit.wav 0.5 0.5
    place cymbal.wav crash.wav 1 0.5
    sum "$1" drums.wav cymbal.wav
}
signal_hihat() {
    band=6k-20k
    kit
    events hats.wav 2.25 0.5 0.06 whitenoise sinc 6k-20k fade t 0.001 -0 0.055 gain -n -26
    sum "$1" kit.wav hats.wav
}
notes() { # OUT GAIN: bass notes of half a second
    events "$1" 0 0.5 0.48 sawtooth 82 lowpass 400 lowpass 900 fade t 0.004 -0 0.4 gain -n "$2"
}
signal_frets() {
    band=1.8k-5k
    notes line.wav -8
    events squeaks.wav 2.4 0.5 0.08 whitenoise sinc 1.8k-4.5k fade q 0.02 -0 0.03 gain -n -24
    sum "$1" line.wav squeaks.wav
}
signal_boomy() {
    band=30-120
    notes line.wav -16
    synth room.wav synth 3.9 sine 55 fade q 0.05 -0 0.1 gain -n -8 tremolo 0.5 40 pad 2.05
    sum "$1" line.wav room.wav
}
signal_side() {
    band=4k-14k
    synth voices.wav synth 6 sawtooth 220 lowpass 3000 gain -n -14
    synth air.wav synth 6 whitenoise sinc 4k-12k gain -n -34
    events guitars.wav 2.2 0.5 0.3 whitenoise sinc 3k-12k fade q 0.02 -0 0.1 gain -n -18
    place middle.wav voices.wav 1 1
    place breath.wav air.wav 1 1
    place wide.wav guitars.wav 1 -1
    sum "$1" middle.wav breath.wav wide.wav
}
signal_mix() {
    band=4k-14k
    synth whole.wav synth 6 pinknoise gain -n -10
    events sharp.wav 2.2 0.5 0.3 whitenoise sinc 3.5k-12k fade q 0.02 -0 0.1 gain -n -14
    place body.wav whole.wav 0.7 0.7
    place edge.wav sharp.wav 1 0.6
    sum "$1" body.wav edge.wav
}
signal_detail() { # loud, then quiet
    band=5k-16k
    synth loud.wav synth 2 pinknoise gain -n -3
    synth soft.wav synth 4 pinknoise gain -n -40
    quiet_sox loud.wav soft.wav "$1"
}
signal_air() { # "s" alone, then dull vowels with a little breath
    band=10k-20k
    events ess.wav 0 0.5 0.15 whitenoise sinc 5k-14k fade q 0.02 -0 0.05 gain -n -10
    quiet_sox ess.wav esses.wav trim 0 2
    synth breath.wav synth 4 whitenoise gain -n -46
    synth vowel.wav synth 4 sawtooth 180:220 lowpass 900 lowpass 2500 gain -n -9 tremolo 2.5 60
    quiet_sox -m -v 1 breath.wav -v 1 vowel.wav vowels.wav
    quiet_sox esses.wav vowels.wav "$1"
}
