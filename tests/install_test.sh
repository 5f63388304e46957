#!/usr/bin/env bash
# Installs the build, moves the tree away from where it was installed, and has to find everything
# there that a user needs: the tool with its manual and completions, the library and its Java
# classes, the examples, the documents.
#   install_test.sh CMAKE BUILD-FOLDER VERSION JAVAC JAVA
set -euo pipefail
cmake=$1 build=$2 version=$3 javac=$4 java=$5
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset DESTDIR LD_LIBRARY_PATH CLASSPATH
fail() { echo "$1" >&2; exit 1; }

"$cmake" --install "$build" --prefix "$work/staged" >/dev/null
mv "$work/staged" "$work/moved"
cd "$work"
# installed NAME: the one file of the tree that has the name.
installed() {
  local found
  found=$(find moved -name "$1")
  [ -f "$found" ] || fail "not one $1 in the tree: $found"
  echo "$PWD/$found"
}
tool=$PWD/moved/bin/audiomatch
library=$(installed libaudio_analyzer.so)
jar=$(installed audiomatch.jar)
example=$(installed MatchOne.java)
for document in README.md CHANGELOG.md database.md third-party.md build_database.py \
    audiomatch-javadoc.jar audiomatch-sources.jar; do
  document=$(installed "$document")
  [ -s "$document" ] || fail "empty: $document"
done

for page in audiomatch.1 audiomatch-match.1; do
  page=$(installed "$page")
  [[ $page == */share/man/man1/* ]] || fail "not where man looks: $page"
done
for completion in share/bash-completion/completions/audiomatch share/zsh/site-functions/_audiomatch; do
  [ -s "moved/$completion" ] || fail "missing: $completion"
done

needed=$(ldd "$tool" "$library")
if grep -F -e "not found" -e "$build/" <<<"$needed"; then
  fail "needs what the system hasn't got or what stands in the build folder"
fi
"$here/exported_names.sh" "$library" || fail "other exports than the natives"
said=$("$tool" --version)
[[ $said == *"$version"* ]] || fail "says version $said, not $version"

# Two recordings of noise, which share nothing, and a piece of the second.
python3 - <<'PYTHON'
import os, random, wave
os.mkdir("references")
for name in "first", "second":
    samples = random.Random(name).randbytes(20 * 8000 * 2)
    for path, piece in ("references/" + name, samples), ("heard", samples[80001 * 2 : 160001 * 2]):
        with wave.open(path + ".wav", "wb") as file:
            file.setparams((1, 2, 8000, 0, "NONE", ""))
            file.writeframes(piece)
PYTHON
"$tool" index music.db references >/dev/null
answer=$("$tool" match --json music.db heard.wav)
[[ $answer == *'"name":"second"'* ]] || fail "the tool answers $answer"

# As someone who starts from the examples: compiled and run with what is installed only.
mkdir classes
"$javac" -d classes -cp "$jar" "$(dirname "$example")"/*.java
answer=$("$java" -Djava.library.path="$(dirname "$library")" -cp "$jar:classes" \
  MatchOne music.db heard.wav)
[[ $answer == second$'\t'* ]] || fail "the Java classes answer $answer"
