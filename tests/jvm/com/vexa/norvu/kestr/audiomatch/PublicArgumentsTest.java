package com.vexa.norvu.kestr.audiomatch;

import static org.junit.Assert.*;

import org.junit.Test;
import org.junit.function.ThrowingRunnable;

/** The public classes refuse what the engine would only answer with a bare failure. */
public class PublicArgumentsTest {
    private static final int RATE = TestAudio.RATE;

    /** Runs a call that must fail, and checks that its message names what is wrong. */
    private static void refused(
            Class<? extends Exception> type, String what, ThrowingRunnable call) {
        String message = assertThrows(what, type, call).getMessage();
        assertTrue(message, message.contains(what));
    }

    private static void illegal(String what, ThrowingRunnable call) {
        refused(IllegalArgumentException.class, what, call);
    }

    private static void stream(long id, int update, int monitor, int rate, int channels, int len) {
        new AudioAttributeExtractor(id, update, monitor, rate, channels, len).close();
    }

    @Test
    public void recordings() {
        short[] second = new short[RATE];
        try (AudioMatcher matcher = new AudioMatcher()) {
            refused(NullPointerException.class, "pcm", () -> matcher.match(null, 1, RATE));
            illegal("channels", () -> matcher.match(second, 0, RATE));
            illegal("channels", () -> matcher.extractFeatures(second, -1, RATE));
            illegal("79999 Hz", () -> matcher.extractFeatures(second, 1, 80000));
            illegal("multiple of 3", () -> matcher.match(second, 3, RATE));
            illegal("too short", () -> matcher.match(new short[767], 1, RATE));
            illegal("too short", () -> matcher.match(new short[0], 1, RATE));
            refused(IllegalStateException.class, "no database",
                    () -> matcher.match(second, 1, RATE));
            assertEquals("silence", 0, matcher.extractFeatures(second, 1, RATE).length);
        }
        illegal("multiple of 4", () -> AudioFeatureExtractor.extract(new byte[9998], 2, RATE));
        illegal("too short", () -> AudioFeatureExtractor.extract(new byte[2 * 767], 1, RATE));
        assertEquals("silence", 0, AudioFeatureExtractor.extract(second, 1, RATE).length);
    }

    @Test
    public void streams() {
        stream(0xFFFFFFFEL, 5, 10, RATE, 1, 1600);
        illegal("streamId", () -> stream(0xFFFFFFFFL, 1, 10, RATE, 1, 1600));
        illegal("streamId", () -> stream(-1, 1, 10, RATE, 1, 1600));
        illegal("updateSeconds", () -> stream(1, 6, 12, RATE, 1, 1600));
        illegal("monitorSeconds", () -> stream(1, 3, 10, RATE, 1, 1600));
        illegal("monitorSeconds", () -> stream(1, 1, 0, RATE, 1, 1600));
        illegal("sampleRate", () -> stream(1, 1, 10, 799, 1, 1600));
        illegal("channels", () -> stream(1, 1, 10, RATE, 0, 1600));
        illegal("packetFrames", () -> stream(1, 1, 10, RATE, 1, RATE + 1));
        illegal("array of bytes", () -> stream(1, 1, 10, RATE, 1 << 20, 1600));
        try (AudioAttributeExtractor two = new AudioAttributeExtractor(1, 1, 10, RATE, 2, 1600)) {
            illegal("3200 elements", () -> two.update(new short[1600]));
            illegal("6400 elements", () -> two.update(new byte[3200]));
            refused(NullPointerException.class, "packet", () -> two.update((byte[]) null));
        }
    }

    @Test
    public void closedObjects() {
        AudioMatcher matcher = new AudioMatcher();
        AudioAttributeExtractor stream = new AudioAttributeExtractor(1, 1, 10, RATE, 1, 1600);
        for (int i = 0; i < 2; i++) {
            matcher.close();
            stream.close();
        }
        refused(IllegalStateException.class, "closed",
                () -> matcher.extractFeatures(new short[RATE], 1, RATE));
        refused(IllegalStateException.class, "closed", () -> stream.update(new short[1600]));
    }

    @Test
    public void serverArrays() {
        AudioFeature[] features = {new AudioFeature(0, 7)};
        refused(NullPointerException.class, "attributes",
                () -> AudioMatchServer.match(features, null));
        refused(NullPointerException.class, "features[1]", () -> AudioMatchServer.match(
                new AudioFeature[] {features[0], null}, new AudioAttribute[0]));
    }
}
