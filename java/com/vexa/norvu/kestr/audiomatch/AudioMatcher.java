package com.vexa.norvu.kestr.audiomatch;

import java.io.File;
import java.io.IOException;

/**
 * Matches recordings against a fingerprint database that is loaded once.
 *
 * <p>A matcher holds native memory, above all the database, until {@link #close}. Its methods are
 * synchronized: threads may share a matcher, and take turns. Matchers don't wait for each other.
 */
public final class AudioMatcher implements AutoCloseable {
    static {
        NativeLibrary.load();
    }

    private static final AudioFeature[] NO_FEATURES = new AudioFeature[0];

    private final boolean hasDatabase;
    private long handle;

    /** What {@link #match} found. */
    public static final class Result {
        private final String name;
        private final int level;

        Result(String name, int level) {
            this.name = name;
            this.level = level;
        }

        /** Whether the recording was found in the database. */
        public boolean isMatched() {
            return level >= 0;
        }

        /** The database's name of the best match; empty when there is no match. */
        public String name() {
            return name;
        }

        /**
         * How clearly the best match beat the second best. With b and s features that agree with
         * the best and with the second best, (b - s) / (b + s) is below 0.35 at level 0, below 0.5
         * at level 1, and 0.5 or more at level 2. Without a match the level is -1.
         *
         * <p>Where no other audio shares a single feature with the recording, as in a database of
         * one, even one feature that agrees by chance gives level 2.
         */
        public int level() {
            return level;
        }

        /** Name and level, or "no match". */
        @Override
        public String toString() {
            return isMatched() ? name + " (level " + level + ")" : "no match";
        }
    }

    /** Makes a matcher without a database, which can only {@link #extractFeatures}. */
    public AudioMatcher() {
        hasDatabase = false;
        handle = nativeInit(null);
        if (handle == 0) {
            throw new IllegalStateException("cannot make a matcher: the engine is out of memory");
        }
    }

    /**
     * Loads a database into a new matcher.
     *
     * @param databasePath path of the database file
     * @throws NullPointerException if {@code databasePath} is null
     * @throws IOException if the file can't be read or isn't a fingerprint database
     */
    public AudioMatcher(String databasePath) throws IOException {
        Arguments.notNull(databasePath, "databasePath");
        if (databasePath.indexOf('\0') >= 0) {
            throw new IOException("a database's path must not contain the character U+0000");
        }
        hasDatabase = true;
        handle = nativeInit(databasePath);
        if (handle == 0) {
            throw new IOException("cannot load the database " + databasePath + ": "
                    + whyUnusable(new File(databasePath)));
        }
    }

    private static String whyUnusable(File file) {
        if (!file.exists()) {
            return "there is no such file; give the path of an existing database";
        }
        if (!file.isFile()) {
            return "it is not a file; give the path of the database file itself";
        }
        if (!file.canRead()) {
            return "it may not be read; change its permissions";
        }
        return "it is not a fingerprint database, is damaged or doesn't fit in memory;"
                + " build or copy it again";
    }

    /**
     * Switches the engine's log on or off. The switch is one for the whole process and all classes
     * of this package; it is on when the library has been loaded.
     */
    public static void setVerbose(boolean verbose) {
        nativeSetNativeVerbose(verbose);
    }

    /**
     * Finds the reference audio that a recording was taken from.
     *
     * @param pcm the samples, channels interleaved; at least 96 ms, 5 s or more to be useful
     * @param channels number of channels; they are mixed down to one
     * @param sampleRate rate of the samples in Hz, 800 to 79,999
     * @return the best match, or a result that {@linkplain Result#isMatched says} there is none
     * @throws NullPointerException if {@code pcm} is null
     * @throws IllegalArgumentException if a number is out of range, or {@code pcm} is too short or
     *     doesn't hold whole frames
     * @throws IllegalStateException if the matcher is closed or has no database
     */
    public synchronized Result match(short[] pcm, int channels, int sampleRate) {
        int frames = checkCall(pcm, channels, sampleRate);
        if (!hasDatabase) {
            throw new IllegalStateException(
                    "this matcher has no database; give the constructor a path to match");
        }
        // A failed match leaves the level alone, so that -1 tells it from a match whose name is
        // empty.
        int[] level = {-1};
        String name = nativeMatchAudio(handle, pcm, channels, frames, sampleRate, level);
        return new Result(name, level[0]);
    }

    /**
     * Extracts the features of a recording, as {@link AudioFeatureExtractor} does, but with an
     * extractor that lives as long as the matcher.
     *
     * @param pcm the samples, channels interleaved; at least 96 ms
     * @param channels number of channels; they are mixed down to one
     * @param sampleRate rate of the samples in Hz, 800 to 79,999
     * @return the features, each once, by ascending hash key and then start time; empty when there
     *     are none, as in silence
     * @throws NullPointerException if {@code pcm} is null
     * @throws IllegalArgumentException if a number is out of range, or {@code pcm} is too short or
     *     doesn't hold whole frames
     * @throws IllegalStateException if the matcher is closed
     */
    public synchronized AudioFeature[] extractFeatures(short[] pcm, int channels, int sampleRate) {
        int frames = checkCall(pcm, channels, sampleRate);
        AudioFeature[] features =
                nativeExtractAudioFeatures(handle, pcm, channels, frames, sampleRate);
        return features == null ? NO_FEATURES : features;
    }

    /** Frees the native memory. A second call does nothing. */
    @Override
    public synchronized void close() {
        handle = nativeRelease(handle);
    }

    private int checkCall(short[] pcm, int channels, int sampleRate) {
        if (handle == 0) {
            throw new IllegalStateException("this matcher is closed");
        }
        Arguments.notNull(pcm, "pcm");
        return Pcm.frames(pcm.length, 1, channels, sampleRate);
    }

    static native void nativeSetNativeVerbose(boolean verbose);

    /** Returns the handle, or 0 on failure. A null path makes a matcher without a database. */
    static native long nativeInit(String dbPath);

    /**
     * {@code length} counts samples per channel. Returns "" on failure, and then leaves {@code
     * discriminationLevel} as it was.
     */
    static native String nativeMatchAudio(long handle, short[] pcm, long channels, long length,
            long sampleRate, int[] discriminationLevel);

    /** {@code length} counts samples per channel. Returns null on failure. */
    static native AudioFeature[] nativeExtractAudioFeatures(
            long handle, short[] pcm, long channels, long length, long sampleRate);

    /** Returns 0, the handle of no matcher. */
    static native long nativeRelease(long handle);
}
