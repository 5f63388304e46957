package com.vexa.norvu.kestr.audiomatch;

import java.io.File;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;

/** Recordings at 8000 Hz, and databases of their features. */
final class TestAudio {
    static final int RATE = 8000;

    private TestAudio() {}

    /** Mono sound: three tones at a time, other ones every 80 ms, chosen by a seed. */
    static short[] tones(long seed, int frames) {
        Random random = new Random(seed);
        double[] frequencies = new double[3];
        short[] pcm = new short[frames];
        for (int i = 0; i < frames; i++) {
            if (i % 640 == 0) {
                for (int k = 0; k < 3; k++) {
                    frequencies[k] = 200 + 3400 * random.nextDouble();
                }
            }
            for (double frequency : frequencies) {
                pcm[i] += (short) (6000 * Math.sin(2 * Math.PI * frequency * i / RATE));
            }
        }
        return pcm;
    }

    static AudioFeature[] features(short[] pcm) {
        return AudioFeatureExtractor.extract(pcm, 1, RATE);
    }

    /** Writes a database in which audio i has the name and the features at i. */
    static void writeDatabase(File file, byte[][] names, AudioFeature[]... features)
            throws IOException {
        Map<Integer, List<Long>> buckets = new HashMap<>();
        for (int audio = 0; audio < names.length; audio++) {
            for (AudioFeature feature : features[audio]) {
                buckets.computeIfAbsent((int) feature.hashKey, key -> new ArrayList<>())
                        .add((long) audio << 14 | feature.startTime);
            }
        }
        ByteBuffer out = ByteBuffer.allocate(8 << 20).order(ByteOrder.LITTLE_ENDIAN);
        out.putInt(names.length);
        for (byte[] name : names) {
            out.putInt(name.length).put(name).put((byte) 0);
        }
        out.putInt(1 << 20).putInt(1 << 14);
        for (int key = 0; key < 1 << 20; key++) {
            List<Long> bucket = buckets.getOrDefault(key, Collections.emptyList());
            out.putInt(bucket.size());
            bucket.forEach(out::putLong);
        }
        Files.write(file.toPath(), Arrays.copyOf(out.array(), out.position()));
    }
}
