#!/bin/bash
# make-picture.sh  Makes spectrograms.png: the speech sample before and after de-essing by ./run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

scripts/install-packages picture
./run
# Nothing of the sample lies above 16 kHz. 24 colours keep the file small.
sox -R -D -M resources/sample/voice.wav out/voice.wav -n rate 32k \
    spectrogram -x 800 -y 200 -z 90 -Z -15 -q 24 -c " " -t "Speech before (above) and after (below)" \
    -o resources/readme/spectrograms.png
echo "made resources/readme/spectrograms.png"
