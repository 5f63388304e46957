package com.vexa.norvu.kestr.audiomatch;

import static org.junit.Assert.*;

import java.io.File;
import java.util.Arrays;
import org.junit.After;
import org.junit.Before;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

/** What the natives make of arguments that the public classes would never pass on. */
public class NativeArgumentsTest {
    private static final int FRAMES = 16000;
    private static final int RATE = TestAudio.RATE;
    private static final long BEYOND = 1L << 32;
    private static final long[] NULL_HANDLES = {0, BEYOND}; // The low 32 bits tell.

    /** Channels, frames and rate that don't fit a mono recording of {@link #FRAMES}. */
    private static final long[][] BAD_SHAPES = {
        {0, FRAMES, RATE}, {1, 0, RATE}, {1, FRAMES, 0},
        {-1, FRAMES, RATE}, {1, -1, RATE}, {1, FRAMES, -1}, {-1, -FRAMES, RATE},
        {BEYOND + 1, FRAMES, RATE}, {1, BEYOND + FRAMES, RATE}, {1, FRAMES, BEYOND + RATE},
        {1, Long.MAX_VALUE, RATE}, {Long.MIN_VALUE, FRAMES, RATE},
        {1, FRAMES + 1, RATE}, {2, FRAMES / 2 + 1, RATE}, {FRAMES + 1, 1, RATE},
        {1 << 16, 1 << 16, RATE}, {0xFFFFFFFFL, 0xFFFFFFFFL, RATE}, {1, 1, RATE},
    };

    @Rule public final TemporaryFolder folder = new TemporaryFolder();

    private final short[] pcm = TestAudio.tones(1, FRAMES);
    private long matcher;

    @Before
    public void openDatabase() throws Exception {
        File file = folder.newFile();
        TestAudio.writeDatabase(file, new byte[][] {{'o', 'n', 'e'}}, TestAudio.features(pcm));
        matcher = AudioMatcher.nativeInit(file.getPath());
        assertNotEquals(0, matcher);
    }

    @After
    public void release() {
        assertEquals(0, AudioMatcher.nativeRelease(matcher));
        for (long handle : NULL_HANDLES) {
            assertEquals(0, AudioMatcher.nativeRelease(handle));
            assertEquals(0, AudioAttributeExtractor.nativeRelease(handle));
        }
    }

    @Test
    public void badRecordingsGiveTheFailureValueAndLeaveTheMatcherUsable() {
        int[] level = {42};
        for (long[] s : BAD_SHAPES) {
            String shape = Arrays.toString(s);
            assertEquals(shape, "",
                    AudioMatcher.nativeMatchAudio(matcher, pcm, s[0], s[1], s[2], level));
            assertNull(shape,
                    AudioMatcher.nativeExtractAudioFeatures(matcher, pcm, s[0], s[1], s[2]));
            assertNull(shape, AudioFeatureExtractor.nativeExtractAudioFeatures(
                    Pcm.toBytes(pcm), s[0], 2 * s[1], s[2]));
        }
        assertEquals("", AudioMatcher.nativeMatchAudio(matcher, null, 1, FRAMES, RATE, level));
        for (long handle : NULL_HANDLES) {
            assertEquals("", AudioMatcher.nativeMatchAudio(handle, pcm, 1, FRAMES, RATE, level));
            assertNull(AudioMatcher.nativeExtractAudioFeatures(handle, pcm, 1, FRAMES, RATE));
        }
        assertEquals("", AudioMatcher.nativeMatchAudio(
                matcher, new short[FRAMES], 1, FRAMES, RATE, level));
        assertEquals("", AudioMatcher.nativeMatchAudio(matcher, pcm, 1, FRAMES, RATE, null));
        assertNull(AudioMatcher.nativeExtractAudioFeatures(matcher, null, 1, FRAMES, RATE));
        assertNull(AudioFeatureExtractor.nativeExtractAudioFeatures(null, 1, FRAMES, RATE));
        assertEquals("no failure writes the level", 42, level[0]);

        assertEquals("no room for the level", "one",
                AudioMatcher.nativeMatchAudio(matcher, pcm, 1, FRAMES, RATE, new int[0]));
        assertEquals("one", AudioMatcher.nativeMatchAudio(matcher, pcm, 1, FRAMES, RATE, level));
        assertEquals(2, level[0]);
    }

    @Test
    public void lengthCountsBytesPerChannelForBytesAndFramesForShorts() {
        short[] stereo = new short[2 * FRAMES];
        for (int i = 0; i < stereo.length; i++) {
            stereo[i] = i % 2 == 0 ? pcm[i / 2] : 0;
        }
        AudioFeature[] expected =
                AudioMatcher.nativeExtractAudioFeatures(matcher, stereo, 2, FRAMES, RATE);
        assertNotNull(expected);
        byte[] bytes = Pcm.toBytes(stereo);
        assertArrayEquals(expected, AudioFeatureExtractor.nativeExtractAudioFeatures(
                bytes, 2, 2 * FRAMES, RATE));
        assertArrayEquals("an odd byte is ignored", expected,
                AudioFeatureExtractor.nativeExtractAudioFeatures(
                        Arrays.copyOf(bytes, bytes.length + 2), 2, 2 * FRAMES + 1, RATE));
        assertArrayEquals(expected, AudioFeatureExtractor.extract(stereo, 2, RATE));
        // A resampler keeps the end of its last input, so only new extractors agree.
        try (AudioMatcher fresh = new AudioMatcher()) {
            assertArrayEquals(AudioFeatureExtractor.extract(bytes, 2, 44100),
                    fresh.extractFeatures(stereo, 2, 44100));
        }
    }

    @Test
    public void streamsThatCannotWorkAreRefused() {
        long[][] refused = {
            {0, 10, RATE, 1, 1600}, {1, 0, RATE, 1, 1600}, {1, 10, 0, 1, 1600},
            {1, 10, RATE, 0, 1600}, {1, 10, RATE, 1, 0}, // Zeros.
            {3, 10, RATE, 1, 1600}, // The window is no multiple of the update.
            {6, 12, RATE, 1, 1600}, // The update is longer than the buffer.
            {1, 10, RATE, 1, 3 * RATE}, // The update is shorter than half a packet.
        };
        for (long[] s : refused) {
            assertEquals(Arrays.toString(s), 0,
                    AudioAttributeExtractor.nativeInit(1, s[0], s[1], s[2], s[3], s[4]));
        }
    }

    @Test
    public void badPacketsAreRefusedAndNotCounted() {
        long stream = AudioAttributeExtractor.nativeInit(1, 1, 10, RATE, 1, 1600);
        assertNotEquals(0, stream);
        byte[] packet = Pcm.toBytes(TestAudio.tones(2, 1600));
        long[][] refused = {
            {1, 1599, RATE}, {1, 1601, RATE}, {1, 0, RATE}, {0, 1600, RATE}, {-1, -1600, RATE},
            {2, 800, RATE}, {1, 1600, 2 * RATE}, {1, 1600, 0}, {1, 1600, -RATE},
            {1, 1600, BEYOND + RATE}, {2, 800 + (1L << 62), RATE}, // 2 * 2 * 2^62 wraps to 0.
        };
        for (int fed = 1; fed <= 26; fed++) {
            for (long[] s : refused) {
                assertNull(Arrays.toString(s), AudioAttributeExtractor.nativeUpdate(
                        stream, packet, s[0], s[1], s[2]));
            }
            assertNull(AudioAttributeExtractor.nativeUpdate(stream, null, 1, 1600, RATE));
            assertNull(AudioAttributeExtractor.nativeUpdate(BEYOND, packet, 1, 1600, RATE));
            assertNull(AudioAttributeExtractor.nativeUpdate(stream, new byte[0], 1, 0, RATE));
            assertNull(AudioAttributeExtractor.nativeUpdate(
                    stream, new byte[6400], 2, 1600, RATE));
            AudioAttribute[] attributes = AudioAttributeExtractor.nativeUpdate(
                    stream, packet, 1, 1600, RATE);
            assertEquals("packet " + fed, fed == 26, attributes != null);
        }
        assertNull(AudioAttributeExtractor.nativeGetExpiredAttributes(stream));
        assertNull(AudioAttributeExtractor.nativeGetExpiredAttributes(BEYOND));
        assertEquals(0, AudioAttributeExtractor.nativeRelease(stream));
    }
}
