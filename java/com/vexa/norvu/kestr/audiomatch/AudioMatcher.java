package com.vexa.norvu.kestr.audiomatch;

import java.io.File;
import java.io.IOException;
import java.nio.file.Path;

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

        /**
         * Whether the best match is clear enough to be taken for the right one: from level 1 on.
         *
         * <p>False doesn't prove that the recording is unknown. A right answer has level 0 too
         * where the second best audio is the same recording once more, under another index; {@link
         * FingerprintDatabase#recognise(AudioFeature[])} compares with audios of other names. And
         * true proves little in a database of very few audios, where nothing is second: see {@link
         * #level}.
         *
         * @return whether to trust the {@link #name}
         */
        public boolean isRecognised() {
            return level >= Level.RECOGNISED && !name.isEmpty();
        }

        /**
         * Whether there is a best candidate at all, right or wrong. That is no recognition: some
         * audio shares a few features with nearly every recording by chance, so one that isn't in
         * the database has a best candidate too, mostly at level 0. {@link #isRecognised} tells
         * them apart.
         *
         * @return whether any audio shares a feature with the recording
         */
        public boolean isMatched() {
            return level >= 0;
        }

        /**
         * The database's name of the best candidate, recognised or not.
         *
         * @return the name; empty when there is no candidate, or when it belongs to the background
         *     by which small databases tell what isn't known
         */
        public String name() {
            return name;
        }

        /**
         * How clearly the best candidate beat the second best. With b and s features that agree
         * with the best and with the second best, (b - s) / (b + s) is below 0.35 at level 0, below
         * 0.5 at level 1, and 0.5 or more at level 2.
         *
         * <p>Where no other audio shares a single feature with the recording, as in a database of
         * one, even one feature that agrees by chance gives level 2.
         *
         * @return 0, 1 or 2; -1 without a candidate
         */
        public int level() {
            return level;
        }

        /** Name and level, where it is recognised; otherwise the best candidate, or "no match". */
        @Override
        public String toString() {
            if (!isMatched()) {
                return "no match";
            }
            return isRecognised() ? name + " (level " + level + ")"
                    : "not recognised (best candidate " + (name.isEmpty() ? "background" : name)
                            + ", level " + level + ")";
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
     * Loads a database into a new matcher. A file that ends among its entries is loaded, and what
     * is missing isn't found; {@link FingerprintDatabase} refuses it.
     *
     * @param databasePath path of the database file
     * @throws NullPointerException if {@code databasePath} is null
     * @throws IOException if the file can't be read or isn't a fingerprint database
     */
    public AudioMatcher(String databasePath) throws IOException {
        this(new File(Arguments.notNull(databasePath, "databasePath")));
    }

    /**
     * Loads a database into a new matcher, as {@link #AudioMatcher(String)} does. Android has {@code
     * Path} from 8.0 (API 26) on.
     *
     * @param databasePath path of the database file in the default file system
     * @throws NullPointerException if {@code databasePath} is null
     * @throws IOException if the file can't be read or isn't a fingerprint database
     */
    public AudioMatcher(Path databasePath) throws IOException {
        this(Arguments.notNull(databasePath, "databasePath").toFile());
    }

    /**
     * Loads a database into a new matcher, as {@link #AudioMatcher(String)} does.
     *
     * @param databasePath path of the database file
     * @throws NullPointerException if {@code databasePath} is null
     * @throws IOException if the file can't be read or isn't a fingerprint database
     */
    public AudioMatcher(File databasePath) throws IOException {
        String path = Arguments.notNull(databasePath, "databasePath").getPath();
        if (path.indexOf('\0') >= 0) {
            throw new IOException("a database's path must not contain the character U+0000");
        }
        hasDatabase = true;
        handle = nativeInit(path);
        if (handle == 0) {
            String why = DatabaseFile.whyUnusable(databasePath);
            throw new IOException("cannot load the database " + path + ": "
                    + (why != null ? why : "it is not a fingerprint database, is damaged or"
                            + " doesn't fit in memory; " + DatabaseFile.advice(databasePath)));
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
