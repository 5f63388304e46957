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

# in_order FOLDER PREFIX ROOM...: a room includes only those before it.
in_order() {
  local folder=$1 prefix=$2 files later
  shift 2
  while [ $# -gt 0 ]; do
    files=$(find "$folder/$1" -maxdepth 1 -type f)
    for later in "${@:2}"; do
      # shellcheck disable=SC2086
      forbid "$1 comes before $later" "#include \"$prefix$later/[^/]*\"" $files
    done
    shift
  done
}
in_order src "" base dsp feature match/database match/scoring match stream jni
in_order tool tool/ base output input keeping recognition store picture service verbs manual
forbid "Java ends at jni" --exclude-dir=jni '#include <jni\.h>' src tool
forbid "the transform is dsp's own" --exclude-dir=dsp '#include <kiss_fft' src tool
forbid "Redis is the stores' own" --exclude-dir=store '#include <hiredis' tool
forbid "the engine knows no tool" '#include "(tool|tests|bench|fuzz)/' src
# The tool enters by the rooms' doors, and brings samples in as Java does.
forbid "the Java boundary is no door of the tool" '#include "jni/([^p]|p[^c]|pc[^m]|pcm[^1])' tool

# Two types of one name in different headers are one to the linker, which takes
# either's functions for both.
types() {
  grep -rhoE --include='*.h' '^(struct|class|enum class) [A-Za-z0-9]+ [^;]*\{' "$1" |
    sed -E 's/^(struct|class|enum class) ([A-Za-z0-9]+).*/\2/' | sort | uniq -d
}
twice=$(types tool)
[ -z "$twice" ] || { echo "the tool has two types of one name: $twice"; status=1; }

opening='\b(fopen|freopen|openat)\(|#include <(fcntl\.h|fstream)>'
only byte_source.cpp "the engine opens files in one place" "$opening" src
forbid "the tool opens files for reading in one place, for writing in another, and locks in a third" \
  --exclude={sound_source,descriptor,atomic_file,temporary_file,database_lock,main,interrupt}.cpp \
  "$opening" tool
exit $status
