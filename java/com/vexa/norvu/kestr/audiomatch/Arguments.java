package com.vexa.norvu.kestr.audiomatch;

/** The argument checks that the classes of this package share. */
final class Arguments {
    /** The rates in Hz that the resampler takes: its ratios end at 10 and just above 0.1. */
    private static final int MIN_SAMPLE_RATE = 800;
    private static final int MAX_SAMPLE_RATE = 79999;

    private Arguments() {}

    /** Returns the value, so that a constructor can check what it hands on. */
    static <T> T notNull(T value, String name) {
        if (value == null) {
            throw new NullPointerException(name + " must not be null");
        }
        return value;
    }

    static void noNullElement(Object[] values, String name) {
        notNull(values, name);
        for (int i = 0; i < values.length; i++) {
            if (values[i] == null) {
                throw new NullPointerException(name + "[" + i + "] must not be null");
            }
        }
    }

    static void positive(int value, String name) {
        if (value <= 0) {
            throw new IllegalArgumentException(name + " must be positive, but is " + value);
        }
    }

    static void sampleRate(int sampleRate) {
        if (sampleRate < MIN_SAMPLE_RATE || sampleRate > MAX_SAMPLE_RATE) {
            throw new IllegalArgumentException("sampleRate must be " + MIN_SAMPLE_RATE + " to "
                    + MAX_SAMPLE_RATE + " Hz, but is " + sampleRate);
        }
    }
}
