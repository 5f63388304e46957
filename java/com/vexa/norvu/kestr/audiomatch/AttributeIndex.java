package com.vexa.norvu.kestr.audiomatch;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * The attributes that are live on any number of streams, by hash key: fed by {@link
 * AudioAttributeExtractor}, asked for {@link AudioMatchServer}.
 *
 * <p>The methods are synchronized: the threads of several streams may update one index while
 * others look up.
 */
public final class AttributeIndex {
    private final Map<Long, List<AudioAttribute>> byKey =
            new HashMap<Long, List<AudioAttribute>>();
    private int size;

    /** Makes an empty index. */
    public AttributeIndex() {}

    /**
     * Follows a stream by one packet: adds what is current and removes what has expired.
     *
     * @throws NullPointerException if {@code update} is null
     */
    public synchronized void apply(AudioAttributeExtractor.Update update) {
        Arguments.notNull(update, "update");
        remove(update.expired());
        add(update.current());
    }

    /**
     * Adds attributes. One that is added twice is held twice, as it counts twice in a match.
     *
     * @throws NullPointerException if the array or an element is null; then nothing is added
     */
    public synchronized void add(AudioAttribute[] attributes) {
        Arguments.noNullElement(attributes, "attributes");
        for (AudioAttribute attribute : attributes) {
            List<AudioAttribute> bucket = byKey.get(key(attribute.hashKey));
            if (bucket == null) {
                bucket = new ArrayList<AudioAttribute>(1);
                byKey.put(key(attribute.hashKey), bucket);
            }
            bucket.add(attribute);
        }
        size += attributes.length;
    }

    /**
     * Removes as many equal attributes as are given: one that was added twice and is removed once
     * is held once. Those that aren't held are passed over.
     *
     * @throws NullPointerException if the array or an element is null; then nothing is removed
     */
    public synchronized void remove(AudioAttribute[] attributes) {
        Arguments.noNullElement(attributes, "attributes");
        for (AudioAttribute attribute : attributes) {
            List<AudioAttribute> bucket = byKey.get(key(attribute.hashKey));
            if (bucket == null || !bucket.remove(attribute)) {
                continue;
            }
            size--;
            if (bucket.isEmpty()) {
                byKey.remove(key(attribute.hashKey));
            }
        }
    }

    /** Number of attributes held, duplicates counted. */
    public synchronized int size() {
        return size;
    }

    /**
     * Looks a recording's features up and returns what was found in the order that {@link
     * AudioMatchServer#match} needs: for each feature, in the given order, the attributes with its
     * hash key.
     *
     * <p>A hash key often occurs several times in a recording, and its features stand next to each
     * other. The server then lets the first of them take the attributes of all, and measures every
     * attribute's time from the first one's start. Returned as they are, the attributes would
     * count at the first feature's distance once for each feature of the run: a chance agreement
     * counts several times, and a true one of a later feature is missed. Returned once per run,
     * the later features would not count at all. So the attributes that are returned for a later
     * feature are copies whose time code is moved back by the frames between the first feature and
     * it (within the code's 14 bits). The server's distance then comes out as that feature's own,
     * and every feature counts once, just as in a match against a database.
     *
     * @param features the recording's features, as an extractor returns them; pass the same array
     *     to the server
     * @return the attributes; empty when none of the keys is on any stream
     * @throws NullPointerException if the array or an element is null
     */
    public synchronized AudioAttribute[] lookUp(AudioFeature[] features) {
        Arguments.noNullElement(features, "features");
        List<AudioAttribute> found = new ArrayList<AudioAttribute>();
        AudioFeature taker = null; // The feature that the server gives the latest attributes to.
        for (AudioFeature feature : features) {
            List<AudioAttribute> bucket = byKey.get(key(feature.hashKey));
            if (bucket == null) {
                continue;
            }
            if (taker == null || key(taker.hashKey) != key(feature.hashKey)) {
                taker = feature;
            }
            long framesLater = feature.startTime - taker.startTime;
            for (AudioAttribute attribute : bucket) {
                found.add(framesLater == 0 ? attribute : earlier(attribute, framesLater));
            }
        }
        return found.toArray(new AudioAttribute[0]);
    }

    private static AudioAttribute earlier(AudioAttribute attribute, long frames) {
        long time = attribute.hashValue - frames & AudioAttribute.TIME_MASK;
        return new AudioAttribute(
                attribute.hashValue & ~AudioAttribute.TIME_MASK | time, attribute.hashKey);
    }

    /** The part of a hash key that the engine compares. */
    private static long key(long hashKey) {
        return hashKey & 0xFFFFFFFFL;
    }
}
