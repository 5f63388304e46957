package com.vexa.norvu.kestr.audiomatch;

import static org.junit.Assert.*;

import java.io.File;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

/** Live streams of 8000 Hz in packets of 0.2 s, analysed every second, watched for 10 s. */
public class AudioAttributeExtractorTest {
    private static final int RATE = TestAudio.RATE;
    private static final int PACKET = 1600;
    private static final int PACKETS = 26 + 5 * 11; // Twelve analyses.

    @Rule public final TemporaryFolder folder = new TemporaryFolder();

    @Test
    public void attributesComeOncePerUpdateAndExpireWithTheWindow() {
        short[] pcm = TestAudio.tones(3, PACKETS * PACKET);
        List<AudioAttribute[]> analyses = new ArrayList<>();
        try (AudioAttributeExtractor stream =
                new AudioAttributeExtractor(5, 1, 10, RATE, 1, PACKET)) {
            for (int call = 1; call <= PACKETS; call++) {
                AudioAttributeExtractor.Update update = stream.update(packet(pcm, call - 1));
                boolean analysed = call >= 26 && (call - 26) % 5 == 0;
                assertEquals("call " + call, analysed, update.current().length > 0);
                if (analysed) {
                    analyses.add(update.current());
                }
                AudioAttribute[] expired = analysed && analyses.size() > 10
                        ? analyses.get(analyses.size() - 11) : new AudioAttribute[0];
                assertArrayEquals("call " + call, expired, update.expired());
            }
        }
        assertEquals(12, analyses.size());
        // Analysis k sees the five seconds from second k on, without a gap, so its attributes are
        // features of these five seconds.
        for (int k = 0; k < analyses.size(); k++) {
            Set<AudioFeature> possible = new HashSet<>(Arrays.asList(TestAudio.features(
                    Arrays.copyOfRange(pcm, k * RATE, (k + 5) * RATE))));
            for (AudioAttribute attribute : analyses.get(k)) {
                assertEquals(5, attribute.hashValue >> 14);
                long frame = (attribute.hashValue & 0x3FFF) - 32 * k;
                assertTrue("frame " + frame, frame >= 0 && frame <= 31);
                assertTrue(attribute + " of analysis " + k,
                        possible.contains(new AudioFeature(frame, attribute.hashKey)));
            }
        }
    }

    @Test
    public void handlesOnDifferentThreadsDoNotDisturbEachOther() throws Exception {
        File file = folder.newFile();
        TestAudio.writeDatabase(file, new byte[][] {{'6'}, {'7'}},
                TestAudio.features(TestAudio.tones(6, 3 * RATE)),
                TestAudio.features(TestAudio.tones(7, 3 * RATE)));
        List<Callable<String>> jobs = new ArrayList<>();
        for (int seed : new int[] {6, 7}) {
            jobs.add(() -> {
                short[] pcm = TestAudio.tones(seed, 2 * PACKETS * PACKET);
                StringBuilder all = new StringBuilder();
                try (AudioAttributeExtractor stream =
                        new AudioAttributeExtractor(seed, 1, 10, RATE, 1, PACKET)) {
                    for (int i = 0; i < 2 * PACKETS; i++) {
                        AudioAttributeExtractor.Update update = stream.update(packet(pcm, i));
                        all.append(Arrays.toString(update.current()))
                                .append(Arrays.toString(update.expired()));
                    }
                }
                return all.toString();
            });
        }
        jobs.add(() -> {
            StringBuilder all = new StringBuilder();
            try (AudioMatcher matcher = new AudioMatcher(file.getPath())) {
                for (int i = 0; i < 20; i++) {
                    all.append(matcher.match(TestAudio.tones(6 + i % 2, 3 * RATE), 1, RATE));
                }
            }
            return all.toString();
        });

        List<String> oneByOne = new ArrayList<>();
        for (Callable<String> job : jobs) {
            oneByOne.add(job.call());
        }
        assertTrue(oneByOne.get(2), oneByOne.get(2).startsWith("6 (level 2)7 (level 2)6 (level"));
        ExecutorService threads = Executors.newFixedThreadPool(jobs.size());
        List<Future<String>> together = threads.invokeAll(jobs);
        threads.shutdown();
        for (int i = 0; i < jobs.size(); i++) {
            assertEquals("job " + i, oneByOne.get(i), together.get(i).get());
        }
    }

    private static short[] packet(short[] pcm, int index) {
        return Arrays.copyOfRange(pcm, index * PACKET, (index + 1) * PACKET);
    }
}
