package com.vexa.norvu.kestr.audiomatch;

import java.io.BufferedOutputStream;
import java.io.DataOutputStream;
import java.io.File;
import java.io.FileOutputStream;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
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
        List<List<Long>> buckets =
                new ArrayList<>(Collections.nCopies(1 << 20, Collections.<Long>emptyList()));
        for (int audio = 0; audio < names.length; audio++) {
            for (AudioFeature feature : features[audio]) {
                List<Long> bucket = new ArrayList<>(buckets.get((int) feature.hashKey));
                bucket.add((long) audio << 14 | feature.startTime);
                buckets.set((int) feature.hashKey, bucket);
            }
        }
        try (DataOutputStream out = new DataOutputStream(
                new BufferedOutputStream(new FileOutputStream(file)))) {
            out.writeInt(Integer.reverseBytes(names.length));
            for (byte[] name : names) {
                out.writeInt(Integer.reverseBytes(name.length));
                out.write(name);
                out.write(0);
            }
            out.writeInt(Integer.reverseBytes(buckets.size()));
            out.writeInt(Integer.reverseBytes(1 << 14));
            for (List<Long> bucket : buckets) {
                out.writeInt(Integer.reverseBytes(bucket.size()));
                for (long entry : bucket) {
                    out.writeLong(Long.reverseBytes(entry));
                }
            }
        }
    }
}
