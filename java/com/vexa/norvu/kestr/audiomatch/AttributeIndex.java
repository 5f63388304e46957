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
     * @param update what the stream's extractor returned for the packet
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
     * @param attributes what to hold
     * @throws NullPointerException if the array or an element is null; then nothing is added
     */
    public synchronized void add(AudioAttribute[] attributes) {
        Arguments.noNullElement(attributes, "attributes");
        for (AudioAttribute attribute : attributes) {
            List<AudioAttribute> bucket = byKey.get(FeatureRun.key(attribute.hashKey));
            if (bucket == null) {
                bucket = new ArrayList<AudioAttribute>(1);
                byKey.put(FeatureRun.key(attribute.hashKey), bucket);
            }
            bucket.add(attribute);
        }
        size += attributes.length;
    }

    /**
     * Removes as many equal attributes as are given: one that was added twice and is removed once
     * is held once. Those that aren't held are passed over.
     *
     * @param attributes what to hold no longer
     * @throws NullPointerException if the array or an element is null; then nothing is removed
     */
    public synchronized void remove(AudioAttribute[] attributes) {
        Arguments.noNullElement(attributes, "attributes");
        for (AudioAttribute attribute : attributes) {
            List<AudioAttribute> bucket = byKey.get(FeatureRun.key(attribute.hashKey));
            if (bucket == null || !bucket.remove(attribute)) {
                continue;
            }
            size--;
            if (bucket.isEmpty()) {
                byKey.remove(FeatureRun.key(attribute.hashKey));
            }
        }
    }

    /**
     * Counts the attributes that are held.
     *
     * @return their number, duplicates counted
     */
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
     * attribute's time from the first one's start. So the attributes that are returned for a later
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
        FeatureRun run = new FeatureRun();
        for (AudioFeature feature : features) {
            List<AudioAttribute> bucket = byKey.get(FeatureRun.key(feature.hashKey));
            if (bucket == null) {
                continue;
            }
            long behind = run.framesBehindFirst(feature);
            for (AudioAttribute attribute : bucket) {
                found.add(behind == 0 ? attribute : new AudioAttribute(
                        FeatureRun.earlier(attribute.hashValue, behind), attribute.hashKey));
            }
        }
        return found.toArray(new AudioAttribute[0]);
    }
}
