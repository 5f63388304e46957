package com.vexa.norvu.kestr.audiomatch;

import static org.junit.Assert.*;

import org.junit.Test;

/** Matches whose outcome is worked out by hand. */
public class AudioMatchServerTest {
    /** Features with keys 7, 9 and 7 at frames 10, 20 and 40. */
    private final AudioFeature[] features = {
        new AudioFeature(10, 7), new AudioFeature(20, 9), new AudioFeature(40, 7),
    };

    private static AudioAttribute heard(long stream, long time, long key) {
        return new AudioAttribute(stream << 14 | time, key);
    }

    private static AudioAttribute[] list(AudioAttribute... attributes) {
        return attributes;
    }

    @Test
    public void theBestStreamIsTheOneWhoseTimesAgree() {
        // Stream 5 agrees twice at offset 100; stream 6 and the attribute that no feature takes
        // count one each: (2 - 1) / (2 + 1).
        AudioAttribute[] attributes = list(
                heard(5, 110, 7), heard(6, 110, 7), heard(5, 120, 9), heard(6, 130, 5));
        AudioMatchServer.Result result = AudioMatchServer.match(features, attributes);
        assertEquals(5, result.index());
        assertEquals(1f / 3, result.discrimination(), 0);

        float[] discrimination = {7, 7};
        assertEquals(5, nativeMatch(features, attributes, discrimination));
        assertArrayEquals(new float[] {1f / 3, 7}, discrimination, 0);
    }

    @Test
    public void whatDoesNotFitIsNoMatch() {
        // Key 9 comes first, so no feature takes the two of key 7; together they beat the one.
        AudioMatchServer.Result result = AudioMatchServer.match(features, list(
                heard(5, 120, 9), heard(5, 110, 7), heard(5, 111, 8), heard(5, 112, 8)));
        assertFalse(result.isMatched());
        assertEquals(0, result.discrimination(), 0);
        assertEquals(-1, nativeMatch(null, list(heard(5, 110, 7)), null));
        assertEquals(-1, nativeMatch(features, list(heard(5, 110, 7), null), null));
    }

    @Test
    public void aRecordingIsRecognisedByItsDiscriminationOnly() {
        AudioMatchServer.Result clear = new AudioMatchServer.Result(5, 0.35f);
        assertTrue(clear.isRecognised());
        AudioMatchServer.Result chance = new AudioMatchServer.Result(5, Math.nextDown(0.35f));
        assertTrue(chance.isMatched());
        assertFalse(chance.isRecognised());
        assertTrue(chance.toString(), chance.toString().startsWith("not recognised"));
        assertFalse(new AudioMatchServer.Result(-1, 1).isRecognised());
        assertEquals(1, Level.of(Math.nextDown(0.5f)));
        assertEquals(2, Level.of(0.5f));
    }

    @Test
    public void largeIdsAreNegativeAsAnIndex() {
        long id = 0x80000001L;
        AudioMatchServer.Result result = AudioMatchServer.match(features, list(heard(id, 110, 7)));
        assertTrue(result.isMatched());
        assertEquals(-0x7FFFFFFFL, result.index());
        assertEquals(id, result.streamId());
    }

    @Test
    public void theIndexHoldsEachAttributeAsOftenAsItWasAdded() {
        AudioAttribute twice = heard(5, 110, 7);
        AudioAttribute once = heard(6, 111, 7);
        AttributeIndex index = new AttributeIndex();
        index.apply(new AudioAttributeExtractor.Update(list(twice, once, twice), list()));
        index.apply(new AudioAttributeExtractor.Update(list(heard(5, 120, 9)),
                list(heard(5, 110, 7), heard(5, 110, 8), heard(5, 111, 7))));
        assertEquals(3, index.size());
        assertArrayEquals(list(once, twice),
                index.lookUp(new AudioFeature[] {new AudioFeature(0, 7)}));
        index.remove(list(twice, twice, once, heard(5, 120, 9)));
        assertEquals(0, index.size());
        assertEquals(0, index.lookUp(features).length);
    }

    @Test
    public void lookUpGroupsByFeatureAndMovesTheTimesOfARun() {
        AttributeIndex index = new AttributeIndex();
        index.add(list(heard(5, 160, 9), heard(5, 140, 7), heard(6, 20, 7)));
        // Nothing has key 8, so nothing ends the run of key 7 until key 9 does.
        AudioFeature[] runs = {
            new AudioFeature(10, 7), new AudioFeature(15, 8), new AudioFeature(40, 7),
            new AudioFeature(50, 9), new AudioFeature(60, 7),
        };
        assertArrayEquals(
                list(heard(5, 140, 7), heard(6, 20, 7),
                        heard(5, 110, 7), heard(6, 16384 + 20 - 30, 7), // 30 frames later.
                        heard(5, 160, 9),
                        heard(5, 140, 7), heard(6, 20, 7)),
                index.lookUp(runs));
        assertEquals("what the index holds is unchanged", 140,
                index.lookUp(new AudioFeature[] {runs[0]})[0].timeCode());
    }

    @Test
    public void aRecordingIsFoundByTheLaterFeaturesOfItsRuns() {
        // Stream 5 plays the recording from frame 100 on but holds only the second feature of each
        // key: three features agree. Stream 6 has one by chance: (3 - 1) / (3 + 1).
        AudioFeature[] recording = {
            new AudioFeature(10, 7), new AudioFeature(40, 7),
            new AudioFeature(20, 9), new AudioFeature(60, 9),
            new AudioFeature(5, 11), new AudioFeature(70, 11),
        };
        AttributeIndex index = new AttributeIndex();
        index.add(list(
                heard(5, 140, 7), heard(5, 160, 9), heard(5, 170, 11), heard(6, 300, 9)));
        AudioMatchServer.Result result =
                AudioMatchServer.match(recording, index.lookUp(recording));
        assertEquals(5, result.streamId());
        assertEquals(0.5f, result.discrimination(), 0);
    }

    private static long nativeMatch(
            AudioFeature[] features, AudioAttribute[] attributes, float[] discrimination) {
        return AudioMatchServer.nativeMatchAudioByFeaturesAndAttributes(
                features, attributes, discrimination);
    }
}
