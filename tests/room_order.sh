#!/usr/bin/env bash
# Fails when a file includes one of a later room, or jni.h outside jni/.
set -eu
cd "$1"
rooms=(base dsp feature match stream jni)
status=0
for i in "${!rooms[@]}"; do
  later=$(IFS='|'; echo "${rooms[*]:i+1}")
  [ -n "$later" ] && grep -rnE "#include \"($later)/" "${rooms[i]}" && status=1
  [ "${rooms[i]}" != jni ] && grep -rnE '#include <jni\.h>' "${rooms[i]}" && status=1
done
exit $status
