package com.vexa.norvu.kestr.audiomatch;

import java.util.ArrayList;
import java.util.Collections;
import java.util.Comparator;
import java.util.List;

/**
 * An audio that shares features with a recording, and how many of its hits agree in their offset.
 *
 * <p>A hit is a feature that the audio has too. Its offset is the time in the audio minus that in
 * the recording. Where the recording was taken from the audio, most offsets are nearly the same.
 */
final class Candidate {
    /** Largest difference of two offsets that counts as agreement, in frames. */
    static final int OFFSET_TOLERANCE = 4;

    /** As the engine, which examines the audios with the most hits. */
    static final int MAX_CANDIDATES = 20;

    final int audio;
    final int hits;
    /** The largest number of hits within the tolerance of one of them: exact, not drawn. */
    final int agreeing;
    /** The median offset of those that agree. */
    final int offset;

    private Candidate(int audio, int hits, int agreeing, int offset) {
        this.audio = audio;
        this.hits = hits;
        this.agreeing = agreeing;
        this.offset = offset;
    }

    /** A hit as one number, in whose order hits lie by audio and then by offset. */
    static long hit(int audio, int offset) {
        return (long) audio << 32 | (offset ^ Integer.MIN_VALUE) & 0xFFFFFFFFL;
    }

    private static int audio(long hit) {
        return (int) (hit >> 32);
    }

    private static int offset(long hit) {
        return (int) hit ^ Integer.MIN_VALUE;
    }

    /** The audios of sorted hits, by ascending index. */
    static List<Candidate> of(long[] hits) {
        List<Candidate> all = new ArrayList<Candidate>();
        for (int start = 0, end; start < hits.length; start = end) {
            for (end = start + 1; end < hits.length && audio(hits[end]) == audio(hits[start]);) {
                end++;
            }
            all.add(score(hits, start, end));
        }
        return all;
    }

    /** Those that a match examines, the one with the most agreeing hits first. */
    static List<Candidate> strongest(List<Candidate> all) {
        return byAgreeing(first(all, (a, b) -> Integer.compare(b.hits, a.hits)));
    }

    /** As many of those with the most agreeing hits, however few they have in all. */
    static List<Candidate> byAgreeing(List<Candidate> all) {
        return first(all, (a, b) -> Integer.compare(b.agreeing, a.agreeing));
    }

    /** Stably sorted: among equals the lower index comes first. */
    private static List<Candidate> first(List<Candidate> all, Comparator<Candidate> order) {
        List<Candidate> sorted = new ArrayList<Candidate>(all);
        Collections.sort(sorted, order);
        return new ArrayList<Candidate>(sorted.subList(0, Math.min(MAX_CANDIDATES, sorted.size())));
    }

    /** Moves a window over the sorted offsets of one audio: those that agree with each in turn. */
    private static Candidate score(long[] hits, int start, int end) {
        int agreeing = 0;
        int offset = 0;
        int first = start;
        int past = start;
        for (int pivot = start; pivot < end; pivot++) {
            // Of one audio, packed hits differ by as much as their offsets.
            while (hits[pivot] - hits[first] > OFFSET_TOLERANCE) {
                first++;
            }
            while (past < end && hits[past] - hits[pivot] <= OFFSET_TOLERANCE) {
                past++;
            }
            if (past - first > agreeing) {
                agreeing = past - first;
                offset = offset(hits[first + agreeing / 2]);
            }
        }
        return new Candidate(audio(hits[start]), end - start, agreeing, offset);
    }
}
