package com.vexa.norvu.kestr.audiomatch;

/**
 * Matches a recording's features with the attributes that were found for them, without audio: the
 * side that knows what all streams play, by an {@link AttributeIndex}, or what all references hold,
 * by a {@link FingerprintDatabase}.
 *
 * <p>Nothing is kept between calls, so any number of threads may call at once.
 */
public final class AudioMatchServer {
    static {
        NativeLibrary.load();
    }

    private AudioMatchServer() {}

    /** What {@link #match} found. */
    public static final class Result {
        private final long index;
        private final float discrimination;

        Result(long index, float discrimination) {
            this.index = index;
            this.discrimination = discrimination;
        }

        /**
         * Whether the best match is clear enough to be taken for the right one: from a
         * discrimination of 0.35 on. True proves little where no other stream or audio has an
         * attribute of the recording; see {@link #discrimination}.
         *
         * @return whether to trust the {@link #index}
         */
        public boolean isRecognised() {
            return isMatched() && Level.of(discrimination) >= Level.RECOGNISED;
        }

        /**
         * Whether there is a best candidate at all, right or wrong. A recording of something else
         * has one too, as single attributes agree by chance; {@link #isRecognised} tells them
         * apart.
         *
         * @return whether any stream has an attribute of the recording
         */
        public boolean isMatched() {
            return index != -1;
        }

        /**
         * The best candidate as the engine numbers it, in 32 bits with a sign: a stream's id, which
         * comes out negative from 2^31 on, or the audio index of attributes that {@link
         * FingerprintDatabase#lookUp} found.
         *
         * @return the index; -1 without a match
         */
        public long index() {
            return index;
        }

        /**
         * The id of the best stream, without a sign.
         *
         * @return 0 to 4,294,967,294; 4,294,967,295 without a match
         */
        public long streamId() {
            return index & 0xFFFFFFFFL;
        }

        /**
         * How clearly the best stream beat the second best: with b and s features that agree with
         * them, (b - s) / (b + s). Where no other stream has a single attribute, even one that
         * agrees by chance gives 1.
         *
         * @return 0 (not at all) to 1; 0 without a match
         */
        public float discrimination() {
            return discrimination;
        }

        /** Stream and discrimination where it is recognised; else the candidate or "no match". */
        @Override
        public String toString() {
            if (!isMatched()) {
                return "no match";
            }
            return isRecognised()
                    ? "stream " + streamId() + " (discrimination " + discrimination + ")"
                    : "not recognised (best candidate stream " + streamId() + ", discrimination "
                            + discrimination + ")";
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
     * Finds the stream that a recording was taken from.
     *
     * <p>The attributes must be grouped in the order of the features: for each feature the
     * attributes with its hash key one after another, then those of the next feature. The engine
     * walks both arrays side by side. Each feature takes the attributes that come next as long as
     * they have its hash key; the first one with another key waits for a later feature. One that
     * no feature takes stops the walk there, and all that were left count together as a candidate
     * of their own, so that many of them make "no match" out of a match. Of features with the same
     * key in a row the first takes all the attributes. {@link AttributeIndex#lookUp} and {@link
     * FingerprintDatabase#lookUp} return them as this method needs them.
     *
     * @param features the recording's features; none give no match
     * @param attributes the attributes found for them; none give no match
     * @return the best stream, or a result that {@linkplain Result#isMatched says} there is none
     * @throws NullPointerException if an array or an element is null
     */
    public static Result match(AudioFeature[] features, AudioAttribute[] attributes) {
        Arguments.noNullElement(features, "features");
        Arguments.noNullElement(attributes, "attributes");
        float[] discrimination = {0};
        long index =
                nativeMatchAudioByFeaturesAndAttributes(features, attributes, discrimination);
        return new Result(index, discrimination[0]);
    }

    static native void nativeSetNativeVerbose(boolean verbose);

    /**
     * Returns the best match, or -1 on failure; {@code discrimination} may be null and is written
     * on success only.
     */
    static native long nativeMatchAudioByFeaturesAndAttributes(
            AudioFeature[] features, AudioAttribute[] attributes, float[] discrimination);
}
