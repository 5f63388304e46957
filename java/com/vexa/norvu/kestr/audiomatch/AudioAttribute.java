package com.vexa.norvu.kestr.audiomatch;

/**
 * One feature of a live stream: its hash, and when it was heard on which stream.
 *
 * <p>The fields are plain and writable because the native library fills objects of this class
 * field by field, without calling a constructor. Treat an attribute as a value: don't change one
 * that a collection holds.
 */
public final class AudioAttribute {
    /** How many low bits of {@link #hashValue} hold the time code, and their mask. */
    static final int TIME_BITS = 14;
    static final long TIME_MASK = 0x3FFF;

    /**
     * Where the hash was found: the time code in frames of 32 ms in bits 0 to 13, the stream id in
     * bits 14 to 45. The higher bits are ignored.
     */
    public long hashValue;

    /** Hash of the pair of peaks, 0 to 1,048,575; equals {@link AudioFeature#hashKey}. */
    public long hashKey;

    /**
     * Makes an attribute, for example one received over a network.
     *
     * @param hashValue stream id and time code, packed as {@link #hashValue} describes
     * @param hashKey hash of the pair of peaks; the engine uses its low 32 bits
     */
    public AudioAttribute(long hashValue, long hashKey) {
        this.hashValue = hashValue;
        this.hashKey = hashKey;
    }

    /**
     * The id of the stream on which the hash was heard.
     *
     * @return 0 to 4,294,967,295
     */
    public long streamId() {
        return hashValue >>> TIME_BITS & 0xFFFFFFFFL;
    }

    /**
     * The stream's time code when the hash was heard: frames of 32 ms within an update, each of
     * which starts at a whole code, 32 codes apart with updates of one second. The code starts
     * again from 0 after 512 such updates.
     *
     * @return 0 to 16,383
     */
    public int timeCode() {
        return (int) (hashValue & TIME_MASK);
    }

    /** Two attributes are equal when both fields are. */
    @Override
    public boolean equals(Object other) {
        return other instanceof AudioAttribute
                && ((AudioAttribute) other).hashValue == hashValue
                && ((AudioAttribute) other).hashKey == hashKey;
    }

    /** Agrees with {@link #equals}. */
    @Override
    public int hashCode() {
        return 31 * (int) hashKey + (int) (hashValue ^ hashValue >>> 32);
    }

    /** Names the hash key, the stream and the time code, for logs. */
    @Override
    public String toString() {
        return "AudioAttribute{hashKey=" + hashKey + ", streamId=" + streamId()
                + ", timeCode=" + timeCode() + "}";
    }
}
