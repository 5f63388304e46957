package com.vexa.norvu.kestr.audiomatch;

/** Loads {@code libaudio_analyzer} for the classes that declare native methods. */
final class NativeLibrary {
    private static final String NAME = "audio_analyzer";

    private static boolean loaded;

    private NativeLibrary() {}

    /**
     * Loads the library on the first call; later calls do nothing.
     *
     * @throws UnsatisfiedLinkError if the library isn't found or doesn't load; the message says
     *     where to put it
     */
    static synchronized void load() {
        if (loaded) {
            return;
        }
        try {
            System.loadLibrary(NAME);
        } catch (UnsatisfiedLinkError e) {
            UnsatisfiedLinkError clearer = new UnsatisfiedLinkError(
                    "cannot load " + System.mapLibraryName(NAME) + "; start the JVM with"
                    + " -Djava.library.path=<folder of the library>, or on Android pack the library"
                    + " of the device's ABI into the application: " + e.getMessage());
            clearer.initCause(e);
            throw clearer;
        }
        loaded = true;
    }
}
