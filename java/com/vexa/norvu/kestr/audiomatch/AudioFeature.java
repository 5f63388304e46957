package com.vexa.norvu.kestr.audiomatch;

/**
 * One feature of a recording's fingerprint: the hash of a pair of spectral peaks and the time of
 * the earlier one.
 *
 * <p>The fields are plain and writable because the native library fills objects of this class
 * field by field, without calling a constructor. Treat a feature as a value: don't change one that
 * a collection holds.
 */
public final class AudioFeature {
    /** Time of the earlier peak in frames of 32 ms from the start of the recording. */
    public long startTime;

    /** Hash of the pair of peaks, 0 to 1,048,575 (20 bits). */
    public long hashKey;

    /**
     * Makes a feature, for example one received over a network. The engine uses the low 32 bits of
     * both numbers.
     *
     * @param startTime frames of 32 ms from the start of the recording
     * @param hashKey hash of the pair of peaks
     */
    public AudioFeature(long startTime, long hashKey) {
        this.startTime = startTime;
        this.hashKey = hashKey;
    }

    /** Two features are equal when both fields are. */
    @Override
    public boolean equals(Object other) {
        return other instanceof AudioFeature
                && ((AudioFeature) other).startTime == startTime
                && ((AudioFeature) other).hashKey == hashKey;
    }

    /** Agrees with {@link #equals}. */
    @Override
    public int hashCode() {
        return (int) (31 * hashKey + startTime);
    }

    /** Names the hash key and the frame, for logs. */
    @Override
    public String toString() {
        return "AudioFeature{hashKey=" + hashKey + ", startTime=" + startTime + "}";
    }
}
