package com.vexa.norvu.kestr.audiomatch;

/** The engine's steps of discrimination. */
final class Level {
    /** From here on the best match is taken for the right one. */
    static final int RECOGNISED = 1;

    private static final float CLEAR = 0.35f;
    private static final float VERY_CLEAR = 0.5f;

    private Level() {}

    static int of(float discrimination) {
        return discrimination < CLEAR ? 0 : discrimination < VERY_CLEAR ? 1 : 2;
    }
}
