/**
 * Audio fingerprints: which recording, or which live stream, was this piece of sound taken from?
 *
 * <ul>
 *   <li>{@link com.vexa.norvu.kestr.audiomatch.AudioMatcher} matches a recording against a database
 *       of reference audio.
 *   <li>{@link com.vexa.norvu.kestr.audiomatch.AudioFeatureExtractor} makes a recording's
 *       fingerprint, and {@link com.vexa.norvu.kestr.audiomatch.FingerprintDatabase} names the
 *       recording by it on a server that gets no sound.
 *   <li>{@link com.vexa.norvu.kestr.audiomatch.AudioAttributeExtractor} makes the running
 *       fingerprint of a live stream, {@link com.vexa.norvu.kestr.audiomatch.AttributeIndex} keeps
 *       those of many streams, and {@link com.vexa.norvu.kestr.audiomatch.AudioMatchServer} tells
 *       which of them a recording was taken from.
 * </ul>
 *
 * <p>Sound is 16-bit PCM with its channels interleaved; a frame of it is one sample of each
 * channel. Times inside fingerprints count frames of 32 ms.
 *
 * <p>The classes that take sound, and {@link
 * com.vexa.norvu.kestr.audiomatch.AudioMatchServer}, load the native library {@code
 * audio_analyzer} when they are first used, and throw {@link java.lang.UnsatisfiedLinkError} if it
 * isn't on {@code java.library.path}.
 */
package com.vexa.norvu.kestr.audiomatch;
