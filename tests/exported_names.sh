#!/usr/bin/env bash
# Compares the names that the library exports with the list of its natives.
set -eu
prefix=Java_com_vexa_norvu_kestr_audiomatch_
expected=$(sort <<NAMES
${prefix}AudioAttributeExtractor_nativeGetExpiredAttributes
${prefix}AudioAttributeExtractor_nativeInit
${prefix}AudioAttributeExtractor_nativeRelease
${prefix}AudioAttributeExtractor_nativeSetNativeVerbose
${prefix}AudioAttributeExtractor_nativeUpdate
${prefix}AudioFeatureExtractor_nativeExtractAudioFeatures
${prefix}AudioFeatureExtractor_nativeSetNativeVerbose
${prefix}AudioMatchServer_nativeMatchAudioByFeaturesAndAttributes
${prefix}AudioMatchServer_nativeSetNativeVerbose
${prefix}AudioMatcher_nativeExtractAudioFeatures
${prefix}AudioMatcher_nativeInit
${prefix}AudioMatcher_nativeMatchAudio
${prefix}AudioMatcher_nativeRelease
${prefix}AudioMatcher_nativeSetNativeVerbose
NAMES
)
diff <(echo "$expected") <(nm -D --defined-only "$1" | awk '{print $3}' | sort)
