#!/usr/bin/env bash
# Puts real recordings on air in the example for Java developers. Every channel
# has to be named, and the one off air must not win clearly.
#   live_channels.sh BUILD-FOLDER MUSIC-FOLDER
set -euo pipefail
build=$1 music=$2
[ -d "$music" ] || { echo "no recordings in $music: run scripts/music"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for track in track1 track3 track8 track20 track30; do
  sox -R "$music/$track.ogg" -r 11025 -c 1 "$work/$track.wav" trim 0 24
done
table=$(java -Djava.library.path="$build" -cp "$build/audiomatch.jar:$build/examples.jar" LiveChannels \
  --heard 5 --snr 0 --monitor 20 --off-air "$work/track30.wav" \
  "$work"/track1.wav "$work"/track3.wav "$work"/track8.wav "$work"/track20.wav)
echo "$table"
awk '$1 == "track30.wav" { seen = 1; if ($NF >= 0.5) exit 1 } END { if (!seen) exit 1 }' <<<"$table"
