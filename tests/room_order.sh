#!/usr/bin/env bash
# Fails when the rooms of the house lose their direction, or their doors:
#   room_order.sh PROJECT-FOLDER
set -eu
cd "$1"
status=0
# forbid WHY GREP-ARGUMENT...: no line may match.
forbid() {
  local why=$1 found
  shift
  found=$(grep -rnE --include='*.h' --include='*.cpp' "$@") || return 0
  printf '%s:\n%s\n' "$why" "$found"
  status=1
}
# only WHERE WHY PATTERN FOLDER: lines that match may stand in one file only.
only() { forbid "$2" --exclude="$1" "$3" "$4"; }

rooms=(base dsp feature match/database match/scoring match stream jni)
for i in "${!rooms[@]}"; do
  files=$(find "src/${rooms[i]}" -maxdepth 1 -type f)
  for later in "${rooms[@]:i+1}"; do
    # shellcheck disable=SC2086
    forbid "${rooms[i]} comes before $later" "#include \"$later/[^/]*\"" $files
  done
done
forbid "Java ends at jni" --exclude-dir=jni '#include <jni\.h>' src tool
forbid "the transform is dsp's own" --exclude-dir=dsp '#include <kiss_fft' src tool
forbid "the engine knows no tool" '#include "(tool|tests|bench|fuzz)/' src
# The tool enters by the rooms' doors, and brings samples in as Java does.
forbid "the Java boundary is no door of the tool" '#include "jni/([^p]|p[^c]|pc[^m]|pcm[^1])' tool

opening='\b(fopen|freopen|openat)\(|#include <(fcntl\.h|fstream)>'
only byte_source.cpp "the engine opens files in one place" "$opening" src
forbid "the tool opens files for reading in one place, for writing in another" \
  --exclude={audio_reader,atomic_file,main,interrupt}.cpp "$opening" tool
exit $status
