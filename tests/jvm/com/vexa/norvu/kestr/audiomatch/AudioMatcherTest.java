package com.vexa.norvu.kestr.audiomatch;

import static org.junit.Assert.*;

import java.io.File;
import java.io.FileOutputStream;
import java.io.IOException;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

/** Databases on disk, and the strings that cross between Java, the engine and the file system. */
public class AudioMatcherTest {
    private static final int FRAMES = 24000;

    @Rule public final TemporaryFolder folder = new TemporaryFolder();

    @Test
    public void namesArriveAsValidStrings() throws Exception {
        byte[][] names = {
            "plain".getBytes("UTF-8"),
            "\u041C\u0443\u0437\u044B\u043A\u0430 \u00E9".getBytes("UTF-8"),
            "\uD83C\uDFB5 beat".getBytes("UTF-8"), // Four bytes in UTF-8, two chars in Java.
            {'a', (byte) 0xFF, 'b'},
            {},
        };
        String[] expected = {
            "plain", "\u041C\u0443\u0437\u044B\u043A\u0430 \u00E9", "\uD83C\uDFB5 beat",
            "a\uFFFDb", "",
        };
        AudioFeature[][] features = new AudioFeature[names.length][];
        for (int i = 0; i < names.length; i++) {
            features[i] = TestAudio.features(TestAudio.tones(i, FRAMES));
        }
        File file = folder.newFile();
        TestAudio.writeDatabase(file, names, features);
        try (AudioMatcher matcher = new AudioMatcher(file.getPath())) {
            for (int i = 0; i < names.length; i++) {
                AudioMatcher.Result result =
                        matcher.match(TestAudio.tones(i, FRAMES), 1, TestAudio.RATE);
                assertTrue("a match, even if its name is empty", result.isMatched());
                assertEquals("what has no name is background", !expected[i].isEmpty(),
                        result.isRecognised());
                assertEquals(expected[i], result.name());
                assertEquals(2, result.level());
            }
            AudioMatcher.Result silence = matcher.match(new short[FRAMES], 1, TestAudio.RATE);
            assertFalse(silence.isMatched());
            assertEquals(-1, silence.level());
        }
    }

    @Test
    public void aReferenceThatIsThereTwiceIsTheBestCandidateOnly() throws Exception {
        short[] pcm = TestAudio.tones(1, FRAMES);
        AudioFeature[] features = TestAudio.features(pcm);
        File file = folder.newFile();
        TestAudio.writeDatabase(file, new byte[][] {{'a'}, {'a'}}, features, features);
        try (AudioMatcher matcher = new AudioMatcher(file.toPath());
                FingerprintDatabase database = new FingerprintDatabase(file)) {
            AudioMatcher.Result result = matcher.match(pcm, 1, TestAudio.RATE);
            assertTrue(result.isMatched());
            assertFalse(result.isRecognised());
            assertEquals("not recognised (best candidate a, level 0)", result.toString());
            assertTrue(database.recognise(features).isRecognised());
        }
    }

    @Test
    public void pathsReachTheFileSystem() throws Exception {
        short[] pcm = TestAudio.tones(1, FRAMES);
        File file = new File(folder.getRoot(), "\u0431\u0430\u0437\u0430 \u00E9 \uD83C\uDFB5.db");
        TestAudio.writeDatabase(file, new byte[][] {{'o', 'n', 'e'}}, TestAudio.features(pcm));
        try (AudioMatcher matcher = new AudioMatcher(file.getPath())) {
            assertEquals("one", matcher.match(pcm, 1, TestAudio.RATE).name());
        }
    }

    @Test
    public void bytesAndShortsAreTheSameRecording() {
        short[] stereo = TestAudio.tones(1, 2 * FRAMES);
        // A resampler keeps the end of its last input, so only new extractors agree.
        try (AudioMatcher matcher = new AudioMatcher()) {
            AudioFeature[] features = matcher.extractFeatures(stereo, 2, 44100);
            assertNotEquals(0, features.length);
            assertArrayEquals(
                    features, AudioFeatureExtractor.extract(Pcm.toBytes(stereo), 2, 44100));
            assertArrayEquals(features, AudioFeatureExtractor.extract(stereo, 2, 44100));
        }
    }

    @Test
    public void aDatabaseThatCannotBeUsedIsNamed() throws Exception {
        File missing = new File(folder.getRoot(), "missing.db");
        File bad = folder.newFile("bad.db");
        try (FileOutputStream out = new FileOutputStream(bad)) {
            out.write("not a database".getBytes("UTF-8"));
        }
        File[] files = {missing, bad, folder.getRoot()};
        String[] reasons = {"no such file", "audiomatch check", "not a file"};
        for (int i = 0; i < files.length; i++) {
            String path = files[i].getPath();
            String message =
                    assertThrows(IOException.class, () -> new AudioMatcher(path)).getMessage();
            assertTrue(message, message.contains(path) && message.contains(reasons[i]));
        }
    }
}
