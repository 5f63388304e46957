package com.vexa.norvu.kestr.audiomatch;

/**
 * Turns a recording into its fingerprint, without a database.
 *
 * <p>Nothing is kept between calls, so any number of threads may call at once.
 */
public final class AudioFeatureExtractor {
    static {
        NativeLibrary.load();
    }

    private static final AudioFeature[] NONE = new AudioFeature[0];

    private AudioFeatureExtractor() {}

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
     * Extracts the features of a recording.
     *
     * @param pcm the samples, channels interleaved; at least 96 ms
     * @param channels number of channels; they are mixed down to one
     * @param sampleRate rate of the samples in Hz, 800 to 79,999
     * @return the features, each once, by ascending hash key and then start time; empty when there
     *     are none, as in silence
     * @throws NullPointerException if {@code pcm} is null
     * @throws IllegalArgumentException if a number is out of range, or {@code pcm} is too short or
     *     doesn't hold whole frames
     */
    public static AudioFeature[] extract(short[] pcm, int channels, int sampleRate) {
        Arguments.notNull(pcm, "pcm");
        Pcm.frames(pcm.length, 1, channels, sampleRate);
        return extract(Pcm.toBytes(pcm), channels, sampleRate);
    }

    /**
     * Extracts the features of a recording that is held as bytes; otherwise like {@link
     * #extract(short[], int, int)}.
     *
     * @param pcm the samples, two bytes each in the machine's byte order (on all Android devices
     *     the low byte first), channels interleaved; at least 96 ms
     * @param channels number of channels; they are mixed down to one
     * @param sampleRate rate of the samples in Hz, 800 to 79,999
     * @return the features; empty when there are none
     * @throws NullPointerException if {@code pcm} is null
     * @throws IllegalArgumentException if a number is out of range, or {@code pcm} is too short or
     *     doesn't hold whole frames
     */
    public static AudioFeature[] extract(byte[] pcm, int channels, int sampleRate) {
        Arguments.notNull(pcm, "pcm");
        int frames = Pcm.frames(pcm.length, 2, channels, sampleRate);
        AudioFeature[] features =
                nativeExtractAudioFeatures(pcm, channels, 2L * frames, sampleRate);
        return features == null ? NONE : features;
    }

    static native void nativeSetNativeVerbose(boolean verbose);

    /** {@code length} counts bytes per channel. Returns null on failure. */
    static native AudioFeature[] nativeExtractAudioFeatures(
            byte[] pcm, long channels, long length, long sampleRate);
}
