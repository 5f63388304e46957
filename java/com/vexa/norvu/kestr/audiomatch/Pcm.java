package com.vexa.norvu.kestr.audiomatch;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/** The samples of a recording or packet, as they are handed to the native methods. */
final class Pcm {
    /**
     * The shortest recording that can hold a feature, which spans two frames; the last of the four
     * passes over it, 24 ms later, then still has its one frame.
     */
    private static final int MIN_MILLISECONDS = 96;

    private Pcm() {}

    /**
     * Checks the shape of a recording.
     *
     * @param length elements of the recording's array
     * @param sampleSize elements that one sample takes: 1 of a short[], 2 of a byte[]
     * @return samples per channel
     */
    static int frames(int length, int sampleSize, int channels, int sampleRate) {
        Arguments.positive(channels, "channels");
        Arguments.sampleRate(sampleRate);
        long frameSize = (long) sampleSize * channels;
        if (length % frameSize != 0) {
            throw new IllegalArgumentException("pcm must hold whole frames, but its length "
                    + length + " is not a multiple of " + frameSize + ", which one frame of "
                    + channels + " channels takes");
        }
        int frames = (int) (length / frameSize);
        if (frames * 1000L < (long) MIN_MILLISECONDS * sampleRate) {
            throw new IllegalArgumentException("pcm is too short: " + frames + " frames at "
                    + sampleRate + " Hz last " + frames * 1000L / sampleRate
                    + " ms, and a fingerprint takes " + MIN_MILLISECONDS + " ms or more");
        }
        return frames;
    }

    /** The samples as bytes, two each in the machine's byte order. */
    static byte[] toBytes(short[] samples) {
        if (samples.length > Integer.MAX_VALUE / 2) {
            throw new IllegalArgumentException("pcm is too long: " + samples.length
                    + " samples don't fit in one array of bytes");
        }
        ByteBuffer bytes = ByteBuffer.allocate(2 * samples.length).order(ByteOrder.nativeOrder());
        bytes.asShortBuffer().put(samples);
        return bytes.array();
    }
}
