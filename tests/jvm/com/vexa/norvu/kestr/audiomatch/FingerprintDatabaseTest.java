package com.vexa.norvu.kestr.audiomatch;

import static org.junit.Assert.*;

import java.io.File;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Random;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.Before;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

/** Fingerprints against a database file, and against what the engine makes of the same file. */
public class FingerprintDatabaseTest {
    private static final int RATE = TestAudio.RATE;
    private static final int REFERENCE = 12 * RATE;
    private static final int REFERENCES = 6;

    @Rule public final TemporaryFolder folder = new TemporaryFolder();

    private final AudioFeature[][] references = new AudioFeature[REFERENCES][];
    private File file;

    @Before
    public void writeReferences() throws IOException {
        byte[][] names = new byte[REFERENCES][];
        for (int i = 0; i < REFERENCES; i++) {
            names[i] = ("reference " + i).getBytes("UTF-8");
            references[i] = TestAudio.features(TestAudio.tones(i, REFERENCE));
        }
        file = write(names, references);
    }

    private File write(byte[][] names, AudioFeature[]... features) throws IOException {
        File written = folder.newFile();
        TestAudio.writeDatabase(written, names, features);
        return written;
    }

    private File write(String[] names, AudioFeature[]... features) throws IOException {
        byte[][] bytes = new byte[names.length][];
        for (int i = 0; i < names.length; i++) {
            bytes[i] = names[i].getBytes("UTF-8");
        }
        return write(bytes, features);
    }

    private static AudioFeature[] list(AudioFeature... features) {
        return features;
    }

    /** A reference is heard from a second on; before it, if that is negative, something else. */
    private static short[] heard(int reference, int fromSecond) {
        short[] tones = TestAudio.tones(reference, REFERENCE);
        short[] pcm = TestAudio.tones(1000 + reference, 5 * RATE);
        int from = fromSecond * RATE;
        for (int i = Math.max(0, -from); i < pcm.length && from + i < tones.length; i++) {
            pcm[i] = tones[from + i];
        }
        return pcm;
    }

    /** The plain count: hits of two lists of features that agree with the best of them. */
    private static int agreement(AudioFeature[] recording, AudioFeature[] reference) {
        List<Long> offsets = new ArrayList<>();
        for (AudioFeature heard : recording) {
            for (AudioFeature known : reference) {
                if (heard.hashKey == known.hashKey) {
                    offsets.add(known.startTime - heard.startTime);
                }
            }
        }
        int best = 0;
        for (long pivot : offsets) {
            best = (int) Math.max(best,
                    offsets.stream().filter(offset -> Math.abs(offset - pivot) <= 4).count());
        }
        return best;
    }

    @Test
    public void recordingsAreFoundAsTheEngineFindsThem() throws Exception {
        try (FingerprintDatabase database = new FingerprintDatabase(file.getPath());
                AudioMatcher matcher = new AudioMatcher(file)) {
            for (int second : new int[] {0, 4, 9, -1, -3}) {
                int reference = Math.abs(second) % REFERENCES;
                short[] pcm = heard(reference, second);
                AudioFeature[] features = TestAudio.features(pcm);
                Recognition recognition = database.recognise(features);
                String what = second + " s: " + recognition;

                assertTrue(what, recognition.isRecognised());
                assertEquals(what, "reference " + reference, recognition.name());
                assertEquals(what, second, recognition.positionSeconds(), 0.1);
                assertEquals(recognition.name(), matcher.match(pcm, 1, RATE).name());
                Integer[] counts = new Integer[REFERENCES];
                for (int i = 0; i < REFERENCES; i++) {
                    counts[i] = agreement(features, references[i]);
                }
                assertEquals(what, (int) counts[reference], recognition.agreeing());
                Arrays.sort(counts, Collections.reverseOrder());
                assertEquals(what, (int) counts[1], recognition.runnerUpAgreeing());

                AudioMatchServer.Result server =
                        AudioMatchServer.match(features, database.lookUp(features));
                assertEquals(recognition.index(), server.index());
                // The engine draws its pivots, so it may miss some of the runner-up's few.
                assertEquals(what, recognition.discrimination(), server.discrimination(), 0.03);
            }
            Recognition unknown = database.recognise(TestAudio.features(heard(7, 0)));
            assertFalse(unknown.toString(), unknown.isRecognised());
            assertNotEquals("a candidate all the same", "", unknown.name());
        }
    }

    @Test
    public void aRecordingMayBeginBeforeTheReference() throws Exception {
        // Heard from 20 frames before its start on. Two features lie behind the first of their run,
        // whose time less what lies between would be negative; two are alone.
        AudioFeature[] recording = list(new AudioFeature(0, 7), new AudioFeature(30, 7),
                new AudioFeature(5, 9), new AudioFeature(70, 9), new AudioFeature(40, 11),
                new AudioFeature(90, 12));
        File early = write(new String[] {"early", "chance"},
                list(new AudioFeature(10, 7), new AudioFeature(50, 9), new AudioFeature(20, 11),
                        new AudioFeature(70, 12)),
                list(new AudioFeature(16000, 9)));
        try (FingerprintDatabase database = new FingerprintDatabase(early)) {
            // Four agree with "early", one with "chance".
            assertEquals(0.6f, database.recognise(recording).discrimination(), 0);
            AudioMatchServer.Result server =
                    AudioMatchServer.match(recording, database.lookUp(recording));
            assertEquals(0, server.index());
            assertEquals(0.6f, server.discrimination(), 0);
            AudioAttribute chance = database.lookUp(list(new AudioFeature(5, 9)))[1];
            assertEquals("not moved without need", new AudioAttribute(1 << 14 | 16000, 9), chance);
        }
    }

    @Test
    public void offsetsAgreeWithinFourFrames() throws Exception {
        int[][] offsets = {{0, 4, 8, 13}, {0, 5, 10}, {9, 0, 9, 5, 9}, {0, 0, 5, 5}};
        int[] agreeing = {3, 1, 4, 2}; // Counted around 4, around any, around 9 or 5, around any.
        String[] names = new String[offsets.length];
        AudioFeature[][] features = new AudioFeature[offsets.length][];
        for (int i = 0; i < offsets.length; i++) {
            names[i] = "audio";
            features[i] = new AudioFeature[offsets[i].length];
            for (int k = 0; k < features[i].length; k++) {
                features[i][k] = new AudioFeature(100 + offsets[i][k], 10 * i + k);
            }
        }
        try (FingerprintDatabase database = new FingerprintDatabase(write(names, features))) {
            for (int i = 0; i < offsets.length; i++) {
                AudioFeature[] recording = features[i].clone();
                for (int k = 0; k < recording.length; k++) {
                    recording[k] = new AudioFeature(50, recording[k].hashKey);
                }
                assertEquals("audio " + i, agreeing[i], database.recognise(recording).agreeing());
            }
        }
    }

    @Test
    public void theVerdictNeedsEnoughFeaturesAndNoRivalOfAnotherName() throws Exception {
        AudioFeature[] twelve = new AudioFeature[12];
        for (int i = 0; i < twelve.length; i++) {
            twelve[i] = new AudioFeature(10 * i, 100 + i);
        }
        AudioFeature[] six = Arrays.copyOf(twelve, 6);
        AudioFeature[] none = {};
        try (FingerprintDatabase database = new FingerprintDatabase(
                write(new String[] {"twin", "other", "twin"}, twelve, six, twelve))) {
            Recognition recognition = database.recognise(twelve, 12, 1f / 3);
            assertTrue(recognition.isRecognised());
            assertEquals("twin", recognition.name());
            assertEquals("other", recognition.runnerUpName());
            assertEquals(1f / 3, recognition.discrimination(), 0);
            assertEquals(0, recognition.level());
            assertFalse(database.recognise(twelve, 13, 1f / 3).isRecognised());
            assertFalse(database.recognise(twelve, 12, 0.34f).isRecognised());

            // What has no name is background: neither the best one nor a rival.
            try (FingerprintDatabase completed = new FingerprintDatabase(
                    write(new String[] {"", "other"}, twelve, six))) {
                recognition = completed.recognise(twelve, 6, 1);
                assertTrue(recognition.isRecognised());
                assertEquals("other", recognition.name() + recognition.runnerUpName());
                assertEquals(1, recognition.index());
            }

            Recognition empty = database.recognise(none, 1, 0);
            assertFalse(empty.isRecognised());
            assertEquals(-1, empty.level());
            assertEquals("", empty.name() + empty.runnerUpName());
            assertTrue(Double.isNaN(empty.positionSeconds()));
            assertThrows(IllegalArgumentException.class, () -> database.recognise(none, 0, 0.5f));
            assertThrows(IllegalArgumentException.class,
                    () -> database.recognise(none, 1, Float.NaN));
        }
    }

    /** Thirty audios that have more of the recording than the right one, at all times. */
    @Test
    public void theRightAudioIsFoundAmongManyWithMoreHits() throws Exception {
        int agreeing = 14;
        AudioFeature[] recording = new AudioFeature[40];
        for (int i = 0; i < recording.length; i++) {
            recording[i] = new AudioFeature(2 * i, 100 + i);
        }
        String[] names = new String[31];
        AudioFeature[][] features = new AudioFeature[names.length][];
        for (int audio = 0; audio < names.length; audio++) {
            names[audio] = "chance " + audio;
            features[audio] = new AudioFeature[recording.length];
            for (int i = 0; i < recording.length; i++) {
                features[audio][i] = new AudioFeature(300 * i, recording[i].hashKey);
            }
        }
        names[30] = "right";
        features[30] = new AudioFeature[agreeing];
        for (int i = 0; i < agreeing; i++) {
            features[30][i] = new AudioFeature(50 + 2 * i, recording[i].hashKey);
        }
        try (FingerprintDatabase database = new FingerprintDatabase(write(names, features))) {
            Recognition recognition = database.recognise(recording);
            assertTrue(recognition.toString(), recognition.isRecognised());
            assertEquals("right", recognition.name());
            assertEquals(agreeing, recognition.agreeing());
            assertEquals(50 * 0.032, recognition.positionSeconds(), 1e-9);
            // Two more have to agree than of those with the most hits.
            assertTrue(database.recognise(recording, agreeing - 2, 0.45f).isRecognised());
            assertFalse(database.recognise(recording, agreeing - 1, 0.45f).isRecognised());
            assertFalse(database.recognise(recording, Integer.MAX_VALUE, 0.45f).isRecognised());
        }
        // With six that agree the lead is 0.4: enough among all, but not among no more than a match
        // examines.
        features[29] = Arrays.copyOf(features[30], 6);
        try (FingerprintDatabase database = new FingerprintDatabase(write(names, features))) {
            assertTrue(database.recognise(recording).isRecognised());
            assertFalse(database.recognise(recording, 10, 0.52f).isRecognised());
        }
        int few = 20;
        try (FingerprintDatabase database = new FingerprintDatabase(
                write(Arrays.copyOfRange(names, 31 - few, 31),
                        Arrays.copyOfRange(features, 31 - few, 31)))) {
            assertFalse(database.recognise(recording).isRecognised());
        }
    }

    @Test
    public void positionsCountThePartsOfALongReference() throws Exception {
        AudioFeature[] none = {};
        AudioFeature[] part = list(new AudioFeature(1000, 7), new AudioFeature(1010, 8));
        try (FingerprintDatabase database = new FingerprintDatabase(write(
                new String[] {"long", "other", "long", "long", "long"},
                none, none, none, none, part))) {
            Recognition recognition = database.recognise(
                    list(new AudioFeature(10, 7), new AudioFeature(20, 8)));
            assertEquals(2 * 524.288 + 990 * 0.032, recognition.positionSeconds(), 1e-9);
        }
    }

    @Test
    public void mappingsOfAnySizeHoldTheSame() throws Exception {
        AudioFeature[] features = TestAudio.features(heard(2, 3));
        try (FingerprintDatabase whole = new FingerprintDatabase(file.toPath());
                FingerprintDatabase chunks = new FingerprintDatabase(file, 12)) {
            assertEquals(REFERENCES, chunks.size());
            assertEquals(whole.names(), chunks.names());
            assertArrayEquals(whole.lookUp(features), chunks.lookUp(features));
            assertNotEquals(0, whole.lookUp(features).length);
        }
    }

    @Test
    public void filesBeyondTwoGigabytesAreRead() throws Exception {
        // A sparse file: all but the ends of bucket 0 and what follows is a hole of zeros.
        long count = 1L << 28;
        File large = folder.newFile();
        try (RandomAccessFile out = new RandomAccessFile(large, "rw")) {
            byte[] head = {1, 0, 0, 0, 1, 0, 0, 0, 'n', 0, 0, 0, 16, 0, 0, 64, 0, 0, 0, 0, 0, 16};
            out.write(head); // One name, the table's size and times, bucket 0's count.
            out.seek(head.length + 8 * count + 4); // Behind bucket 1, which is empty.
            out.write(new byte[] {1, 0, 0, 0, 100, 0, 0, 0, 0, 0, 0, 0});
            out.setLength(out.getFilePointer() + 4L * ((1 << 20) - 3));
        }
        try (FingerprintDatabase database = new FingerprintDatabase(large)) {
            assertArrayEquals(new AudioAttribute[] {new AudioAttribute(100, 2)},
                    database.lookUp(list(new AudioFeature(3, 2))));
            assertEquals("n", database.recognise(list(new AudioFeature(3, 2))).name());
            String message = assertThrows(IllegalArgumentException.class,
                    () -> database.recognise(list(new AudioFeature(0, 0)))).getMessage();
            assertTrue(message, message.contains("268435456 hits"));
        }
    }

    @Test
    public void namesAreThoseOfTheFile() throws Exception {
        byte[][] names = {
            "\u041C\u0443\u0437\u044B\u043A\u0430 \uD83C\uDFB5".getBytes("UTF-8"),
            {'a', (byte) 0xFF, 'b'}, {}, {'e', 'n', 'd', 0, 'x'},
        };
        AudioFeature[] none = {};
        FingerprintDatabase database =
                new FingerprintDatabase(write(names, none, none, none, none));
        assertEquals(
                Arrays.asList("\u041C\u0443\u0437\u044B\u043A\u0430 \uD83C\uDFB5", "a\uFFFDb", "",
                        "end"),
                database.names());
        assertEquals("end", database.name(3));
        assertEquals("", database.name(-1) + database.name(4));
        database.close();
        database.close();
        assertThrows(IllegalStateException.class, () -> database.name(3));
        assertThrows(IllegalStateException.class, () -> database.lookUp(none));
    }

    @Test
    public void whatTheDatabaseHasNotGotIsNotFound() throws Exception {
        try (FingerprintDatabase database = new FingerprintDatabase(file)) {
            AudioFeature[] strange = list(new AudioFeature(0, 1 << 20), new AudioFeature(0, -1),
                    new AudioFeature(Long.MIN_VALUE, Long.MAX_VALUE));
            assertEquals(0, database.lookUp(strange).length);
            assertEquals(-1, database.recognise(strange).index());
            assertThrows(NullPointerException.class,
                    () -> database.recognise(new AudioFeature[1]));
        }
    }

    /** Refused, with a message that names the file, the reason and what to do. */
    private static void refused(File bad, String reason, String advice) {
        String message =
                assertThrows(reason, IOException.class, () -> new FingerprintDatabase(bad))
                        .getMessage();
        for (String part : new String[] {bad.getPath(), reason, advice}) {
            assertTrue(message, message.contains(part));
        }
    }

    @Test
    public void damagedFilesAreRefused() throws Exception {
        String check = "audiomatch check";
        refused(new File(folder.getRoot(), "missing.db"), "no such file", "give the path");
        refused(folder.getRoot(), "not a file", "give the path");

        byte[] whole = Files.readAllBytes(
                write(new String[] {"one", "two"}, list(new AudioFeature(5, 1 << 19)), list())
                        .toPath());
        File bad = folder.newFile("bad.db");
        int header = 4 + 8 + 8 + 8;
        List<Integer> cuts = new ArrayList<>(Arrays.asList(
                whole.length / 2, whole.length / 2 + 5, whole.length - 3, whole.length - 1));
        for (int size = 0; size <= header + 4; size++) {
            cuts.add(size);
        }
        for (int size : cuts) {
            Files.write(bad.toPath(), Arrays.copyOf(whole, size));
            refused(bad, "", check);
        }
        Object[][] damages = {
            {0, "4294967043 names", 0xFFFFFF03}, {0, "not a fingerprint database", 1},
            {0, "names that it claims", -1}, {4, "goes on behind", -1},
            {4, "not a fingerprint database", 2}, {header - 8, "not a fingerprint database", 1},
            {header - 4, "not a fingerprint database", 0}, {header, "bucket 0", -1},
            {whole.length - 4, "bucket 1048575", 1},
        };
        for (Object[] damage : damages) {
            int number = (int) damage[2];
            byte[] bytes = whole.clone();
            for (int i = 0; i < 4; i++) {
                bytes[(int) damage[0] + i] = (byte) (number >> 8 * i);
            }
            Files.write(bad.toPath(), bytes);
            refused(bad, (String) damage[1], check);
        }
    }

    @Test
    public void randomDamageIsRefusedOrHarmless() throws Exception {
        byte[] whole = Files.readAllBytes(file.toPath());
        AudioFeature[] features = TestAudio.features(heard(2, 3));
        File bad = folder.newFile();
        Random random = new Random(1);
        int opened = 0;
        for (int round = 0; round < 40; round++) {
            byte[] bytes = whole.clone();
            for (int i = 0; i < 3; i++) {
                int place = random.nextInt(round % 2 == 0 ? 150 : bytes.length);
                bytes[place] = (byte) random.nextInt();
            }
            Files.write(bad.toPath(), bytes);
            try (FingerprintDatabase database = new FingerprintDatabase(bad)) {
                opened++;
                AudioAttribute[] found = database.lookUp(features);
                AudioMatchServer.match(features, found);
                assertNotNull(database.recognise(features).toString());
            } catch (IOException refused) {
                assertTrue(refused.getMessage().contains(bad.getPath()));
            }
        }
        assertTrue(opened + " of 40", opened > 0 && opened < 40);
    }

    @Test
    public void threadsShareADatabaseUntilItIsClosed() throws Exception {
        AudioFeature[] features = TestAudio.features(heard(4, 2));
        FingerprintDatabase database = new FingerprintDatabase(file);
        String alone = database.recognise(features).toString();
        List<Callable<Integer>> jobs = new ArrayList<>();
        for (int i = 0; i < 4; i++) {
            jobs.add(() -> {
                for (int call = 0;; call++) {
                    if (call == 20) {
                        database.close();
                    }
                    try {
                        assertEquals(alone, database.recognise(features).toString());
                    } catch (IllegalStateException closed) {
                        return call;
                    }
                }
            });
        }
        ExecutorService threads = Executors.newFixedThreadPool(jobs.size());
        int calls = 0;
        for (Future<Integer> job : threads.invokeAll(jobs)) {
            calls = Math.max(calls, job.get());
        }
        threads.shutdown();
        assertEquals("the thread that closed it went that far", 20, calls);
    }
}
