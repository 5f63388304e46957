package com.vexa.norvu.kestr.audiomatch;

/**
 * Turns a live stream into attributes, packet by packet.
 *
 * <p>The engine holds five seconds of packets. The packet that arrives when they are full makes it
 * analyse them: the features of the first update period become attributes, which carry the
 * stream's id and a running time code, and that period's packets are dropped. So there are new
 * attributes once per update period, and they describe audio that is about five seconds old. After
 * {@code monitorSeconds} they are handed out once more as expired.
 *
 * <p>Give packets in stream order, and choose a packet length that divides the update period:
 * otherwise the time codes run ahead of the audio or fall behind. Codes start again after 16,384
 * frames, about 512 updates of one second, so a monitor window longer than that holds codes that
 * mean two different times.
 *
 * <p>An extractor holds native memory until {@link #close}. Its methods are synchronized: threads
 * may share an extractor, and take turns. Extractors don't wait for each other.
 */
public final class AudioAttributeExtractor implements AutoCloseable {
    static {
        NativeLibrary.load();
    }

    /** The seconds of audio that are analysed together, and the longest update period. */
    private static final int BUFFER_SECONDS = 5;

    private static final AudioAttribute[] NONE = new AudioAttribute[0];

    private final int sampleRate;
    private final int channels;
    private final int packetFrames;
    private long handle;

    /** The attributes that came and went with one packet; most packets bring none. */
    public static final class Update {
        private static final Update EMPTY = new Update(NONE, NONE);

        private final AudioAttribute[] current;
        private final AudioAttribute[] expired;

        Update(AudioAttribute[] current, AudioAttribute[] expired) {
            this.current = current;
            this.expired = expired;
        }

        /**
         * The attributes of the analysis that the packet set off.
         *
         * @return the attributes; empty when there are none
         */
        public AudioAttribute[] current() {
            return current;
        }

        /**
         * The attributes that left the monitor window.
         *
         * @return the attributes; empty when there are none
         */
        public AudioAttribute[] expired() {
            return expired;
        }
    }

    /**
     * Makes an extractor for one stream.
     *
     * @param streamId the number by which a match names the stream, 0 to 4,294,967,294
     *     ({@link AudioMatchServer} couldn't tell the next one from no match)
     * @param updateSeconds seconds between analyses, 1 to 5
     * @param monitorSeconds seconds until attributes expire, a multiple of {@code updateSeconds}
     * @param sampleRate rate of the samples in Hz, 800 to 79,999
     * @param channels channels of the stream; they are mixed down to one
     * @param packetFrames samples per channel in each packet, not more than an update period
     * @throws IllegalArgumentException if a number is out of range
     */
    public AudioAttributeExtractor(long streamId, int updateSeconds, int monitorSeconds,
            int sampleRate, int channels, int packetFrames) {
        if (streamId < 0 || streamId > 0xFFFFFFFEL) {
            throw new IllegalArgumentException(
                    "streamId must be 0 to 4294967294, but is " + streamId);
        }
        if (updateSeconds < 1 || updateSeconds > BUFFER_SECONDS) {
            throw new IllegalArgumentException("updateSeconds must be 1 to " + BUFFER_SECONDS
                    + ", but is " + updateSeconds);
        }
        if (monitorSeconds <= 0 || monitorSeconds % updateSeconds != 0) {
            throw new IllegalArgumentException("monitorSeconds must be a positive multiple of the "
                    + updateSeconds + " s between updates, but is " + monitorSeconds);
        }
        Arguments.sampleRate(sampleRate);
        Arguments.positive(channels, "channels");
        Arguments.positive(packetFrames, "packetFrames");
        if (packetFrames > sampleRate * updateSeconds) {
            throw new IllegalArgumentException("packetFrames must not exceed an update period of "
                    + sampleRate * updateSeconds + " frames, but is " + packetFrames);
        }
        if (2L * channels * packetFrames > Integer.MAX_VALUE) {
            throw new IllegalArgumentException("a packet of " + channels + " channels and "
                    + packetFrames + " frames doesn't fit in one array of bytes");
        }
        this.sampleRate = sampleRate;
        this.channels = channels;
        this.packetFrames = packetFrames;
        handle = nativeInit(
                streamId, updateSeconds, monitorSeconds, sampleRate, channels, packetFrames);
        if (handle == 0) {
            throw new IllegalStateException("cannot make the extractor of stream " + streamId
                    + ": the engine can't hold " + BUFFER_SECONDS + " s of " + channels
                    + " channels at " + sampleRate + " Hz in memory");
        }
    }

    /**
     * Switches the engine's log on or off. The switch is one for the whole process and all classes
     * of this package; it is on when the library has been loaded.
     *
     * @param verbose whether to log
     */
    public static void setVerbose(boolean verbose) {
        nativeSetNativeVerbose(verbose);
    }

    /**
     * Takes the next packet of the stream.
     *
     * @param packet the samples, channels interleaved: channels × packetFrames
     * @return the attributes that came and went with this packet
     * @throws NullPointerException if {@code packet} is null
     * @throws IllegalArgumentException if the packet's length is wrong; the stream is unchanged
     * @throws IllegalStateException if the extractor is closed
     */
    public synchronized Update update(short[] packet) {
        Arguments.notNull(packet, "packet");
        checkCall(packet.length, 1);
        return updateChecked(Pcm.toBytes(packet));
    }

    /**
     * Takes the next packet of the stream as bytes.
     *
     * @param packet the samples, two bytes each in the machine's byte order (on all Android
     *     devices the low byte first), channels interleaved: 2 × channels × packetFrames bytes
     * @return the attributes that came and went with this packet
     * @throws NullPointerException if {@code packet} is null
     * @throws IllegalArgumentException if the packet's length is wrong; the stream is unchanged
     * @throws IllegalStateException if the extractor is closed
     */
    public synchronized Update update(byte[] packet) {
        Arguments.notNull(packet, "packet");
        checkCall(packet.length, 2);
        return updateChecked(packet);
    }

    /** Frees the native memory. A second call does nothing. */
    @Override
    public synchronized void close() {
        handle = nativeRelease(handle);
    }

    private void checkCall(int length, int elementsPerSample) {
        if (handle == 0) {
            throw new IllegalStateException("this extractor is closed");
        }
        int expected = elementsPerSample * channels * packetFrames;
        if (length != expected) {
            throw new IllegalArgumentException("a packet of this stream has " + packetFrames
                    + " frames of " + channels + " channels, " + expected
                    + " elements in all, but this one has " + length);
        }
    }

    private Update updateChecked(byte[] packet) {
        AudioAttribute[] current = nativeUpdate(handle, packet, channels, packetFrames, sampleRate);
        // What expired is known only until the next packet.
        AudioAttribute[] expired = nativeGetExpiredAttributes(handle);
        if (current == null && expired == null) {
            return Update.EMPTY;
        }
        return new Update(current == null ? NONE : current, expired == null ? NONE : expired);
    }

    static native void nativeSetNativeVerbose(boolean verbose);

    /** Returns the handle, or 0 on failure. {@code packetLen} counts samples per channel. */
    static native long nativeInit(long streamId, long updateRate, long monitorDuration,
            long sampleRate, long channels, long packetLen);

    /**
     * {@code length} counts samples per channel; {@code pcm} must hold exactly 2 × length ×
     * channels bytes. Returns null when there are no attributes, and on failure.
     */
    static native AudioAttribute[] nativeUpdate(
            long handle, byte[] pcm, long channels, long length, long sampleRate);

    /** Returns the attributes that the latest update expired, or null. */
    static native AudioAttribute[] nativeGetExpiredAttributes(long handle);

    /** Returns 0, the handle of no extractor. */
    static native long nativeRelease(long handle);
}
