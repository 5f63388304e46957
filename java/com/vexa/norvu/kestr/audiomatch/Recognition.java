package com.vexa.norvu.kestr.audiomatch;

import java.util.List;
import java.util.Locale;

/**
 * Which reference audio a recording was taken from, how sure that is, and from where in it: the
 * answer of {@link FingerprintDatabase#recognise(AudioFeature[])}.
 *
 * <p>Every recording has a best candidate, one that isn't in the database too: by chance some audio
 * always shares a few features with it. So a recording is recognised only when enough features
 * agree, and clearly more than with the best audio of another name or so many that nothing else
 * explains it.
 */
public final class Recognition {
    /**
     * The features that have to agree, where no other number is given; one more for every {@value
     * #FEATURES_PER_AGREEING} features of the recording, since chance brings more to longer ones.
     */
    public static final int MIN_AGREEING = 10;

    /** So many features of a recording ask for one more that agrees. */
    public static final int FEATURES_PER_AGREEING = 1000;

    /** The least {@link #discrimination}, where no other is given. */
    public static final float MIN_DISCRIMINATION = 0.45f;

    /**
     * So many times the features that have to agree need no discrimination: the database has the
     * recording under two names.
     */
    public static final int PLENTY = 4;

    /**
     * So many more features have to agree with the best of all audios than with the best of those
     * that have the most hits: it is chosen from more.
     */
    public static final int MORE_AMONG_ALL = 2;

    /**
     * This share of the discrimination will do for the best of all audios, since its rival is the
     * best of all others.
     */
    public static final float LEAD_AMONG_ALL = 7f / 9;

    private static final double SECONDS_PER_FRAME = 256 / 8000.0;

    private final Candidate best;
    private final String name;
    private final int part;
    private final String runnerUpName;
    private final int runnerUpAgreeing;
    private final boolean recognised;

    /**
     * @param ranked the candidates, the one with the most agreeing features first
     * @param names the database's
     * @param features the number of the recording's
     */
    Recognition(List<Candidate> ranked, List<String> names, int features, long minAgreeing,
            float minDiscrimination) {
        best = ranked.isEmpty() ? null : ranked.get(0);
        name = best == null ? "" : name(names, best.audio);
        part = best == null ? 0 : part(names, best.audio);
        Candidate runnerUp = null;
        for (Candidate candidate : ranked) {
            if (!name(names, candidate.audio).equals(name)) {
                runnerUp = candidate;
                break;
            }
        }
        runnerUpName = runnerUp == null ? "" : name(names, runnerUp.audio);
        runnerUpAgreeing = runnerUp == null ? 0 : runnerUp.agreeing;
        long needed = minAgreeing + features / FEATURES_PER_AGREEING;
        recognised = agreeing() >= needed
                && (discrimination() >= minDiscrimination || agreeing() / PLENTY >= needed);
    }

    /** The name of an audio; empty where the database has none. */
    static String name(List<String> names, long audio) {
        return audio >= 0 && audio < names.size() ? names.get((int) audio) : "";
    }

    /** How many parts of the same recording lie before an audio. */
    private static int part(List<String> names, int audio) {
        int first = audio;
        while (first > 0 && audio < names.size()
                && names.get(first - 1).equals(names.get(audio))) {
            first--;
        }
        return audio - first;
    }

    /**
     * Whether the recording is that audio: enough features agree with the best audio, and its
     * {@link #discrimination} is high enough or {@link #PLENTY} times as many agree.
     *
     * @return false also where there is a best candidate that may be there by chance
     */
    public boolean isRecognised() {
        return recognised;
    }

    /**
     * The name of the audio that the recording agrees with best, recognised or not.
     *
     * @return the name; empty when no audio shares a feature with the recording
     */
    public String name() {
        return name;
    }

    /**
     * The position of that audio among the database's names.
     *
     * @return the index; -1 when no audio shares a feature with the recording
     */
    public int index() {
        return best == null ? -1 : best.audio;
    }

    /**
     * How many features the recording has in common with the audio at one distance in time (within
     * 4 frames of 32 ms).
     *
     * @return the number of features
     */
    public int agreeing() {
        return best == null ? 0 : best.agreeing;
    }

    /**
     * How clearly the audio beats the best one of another name: with b and s features that agree
     * with them, (b - s) / (b + s). {@link AudioMatcher.Result#level} compares with the second best
     * audio whatever its name, and so is low where a database has the same recording twice.
     *
     * @return 0 (not at all) to 1 (no other shares a feature); 0 without a candidate
     */
    public float discrimination() {
        int sum = agreeing() + runnerUpAgreeing;
        return sum == 0 ? 0 : (float) (agreeing() - runnerUpAgreeing) / sum;
    }

    /**
     * The {@link #discrimination} in the steps of {@link AudioMatcher.Result#level}.
     *
     * @return 0 below 0.35, 1 below 0.5, otherwise 2; -1 without a candidate
     */
    public int level() {
        return best == null ? -1 : Level.of(discrimination());
    }

    /**
     * Where in the reference the recording starts. Neighbours of one name count as the parts of a
     * long reference, each of which lasts 524.288 s.
     *
     * @return seconds from the start of the reference, negative when the recording starts earlier;
     *     NaN without a candidate
     */
    public double positionSeconds() {
        if (best == null) {
            return Double.NaN;
        }
        return ((double) part * DatabaseFile.TIME_SLOTS + best.offset) * SECONDS_PER_FRAME;
    }

    /**
     * The name of the best audio that has another name.
     *
     * @return the name; empty when there is no such audio
     */
    public String runnerUpName() {
        return runnerUpName;
    }

    /**
     * How many features agree with the best audio of another name.
     *
     * @return the number of features; 0 when there is no such audio
     */
    public int runnerUpAgreeing() {
        return runnerUpAgreeing;
    }

    /** Name, numbers and position; says so when the recording isn't recognised. */
    @Override
    public String toString() {
        if (best == null) {
            return "not recognised (no audio shares a feature)";
        }
        String numbers = String.format(Locale.ROOT, "%d features agree, discrimination %.3f",
                agreeing(), discrimination());
        return recognised
                ? String.format(Locale.ROOT, "%s at %.1f s (%s)", name, positionSeconds(), numbers)
                : "not recognised (best candidate " + name + ": " + numbers + ")";
    }
}
