package com.vexa.norvu.kestr.audiomatch;

/**
 * Moves the times of attributes so that {@link AudioMatchServer} measures each feature's own
 * distance to them.
 *
 * <p>A hash key often occurs several times in a recording, and its features stand next to each
 * other. The server then lets the first of them take the attributes of all, and measures every
 * attribute's time from the first one's start. Returned as they are, the attributes would count at
 * the first feature's distance once for each feature of the run: a chance agreement counts several
 * times, and a true one of a later feature is missed. Returned once per run, the later features
 * would not count at all. So the attributes that are returned for a later feature have their time
 * code moved back by the frames between the first feature and it, within the code's 14 bits. The
 * server's distance then comes out as that feature's own, and every feature counts once, just as in
 * a match against a database.
 */
final class FeatureRun {
    private AudioFeature first; // The one that the server gives the latest attributes to.

    /**
     * Takes the next feature that attributes were found for. Others must be left out: they don't
     * end a run.
     *
     * @return frames by which its attributes have to be moved back
     */
    long framesBehindFirst(AudioFeature feature) {
        if (first == null || key(first.hashKey) != key(feature.hashKey)) {
            first = feature;
        }
        return feature.startTime - first.startTime;
    }

    /** An attribute's {@link AudioAttribute#hashValue} with its time code moved back. */
    static long earlier(long hashValue, long frames) {
        long time = hashValue - frames & AudioAttribute.TIME_MASK;
        return hashValue & ~AudioAttribute.TIME_MASK | time;
    }

    /** The part of a hash key that the engine compares. */
    static long key(long hashKey) {
        return hashKey & 0xFFFFFFFFL;
    }
}
