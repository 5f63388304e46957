package com.vexa.norvu.kestr.audiomatch;

import java.io.File;
import java.io.IOException;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * A fingerprint database for a server that gets fingerprints, not sound: phones extract features
 * and send them, the server names the recording. It works without the native library.
 *
 * <p>The file is mapped, not loaded: the memory that it takes is the system's cache, which
 * processes share, beside 8 MiB and the names in the heap. Opening reads the file through once. A
 * database that is open must not be written over or cut: give the new one its place by renaming it,
 * as {@code audiomatch index} does, then open it and close the old one.
 *
 * <p>Any number of threads may look up and recognise at once; none waits for another.
 */
public final class FingerprintDatabase implements AutoCloseable {
    /** The hits of a request, which take 8 bytes each, or 28 as attributes. */
    private static final int MAX_HITS = 1 << 24;

    private volatile DatabaseFile file;

    /**
     * Opens a database.
     *
     * @param path path of a database file, as {@code audiomatch index} writes it
     * @throws NullPointerException if {@code path} is null
     * @throws IOException if the file can't be read, isn't a fingerprint database, is cut or
     *     damaged, or doesn't fit in memory
     */
    public FingerprintDatabase(String path) throws IOException {
        this(new File(Arguments.notNull(path, "path")));
    }

    /**
     * Opens a database; otherwise like {@link #FingerprintDatabase(String)}. Android has {@code
     * Path} from 8.0 (API 26) on.
     *
     * @param path path of a database file in the default file system
     * @throws NullPointerException if {@code path} is null
     * @throws IOException if the file is no database that can be used
     */
    public FingerprintDatabase(Path path) throws IOException {
        this(Arguments.notNull(path, "path").toFile());
    }

    /**
     * Opens a database; otherwise like {@link #FingerprintDatabase(String)}.
     *
     * @param path path of a database file
     * @throws NullPointerException if {@code path} is null
     * @throws IOException if the file is no database that can be used
     */
    public FingerprintDatabase(File path) throws IOException {
        this(path, MappedFile.CHUNK_BITS);
    }

    /** For tests, which have no time for files of several GiB. */
    FingerprintDatabase(File path, int chunkBits) throws IOException {
        Arguments.notNull(path, "path");
        String why = DatabaseFile.whyUnusable(path);
        if (why != null) {
            throw cannotOpen(path, why, null);
        }
        try {
            file = new DatabaseFile(new MappedFile(path, chunkBits));
        } catch (IOException e) {
            throw cannotOpen(path, e.getMessage() + "; " + DatabaseFile.advice(path), e);
        } catch (OutOfMemoryError e) {
            throw cannotOpen(path, "its names don't fit in memory; give the JVM more (-Xmx), or "
                    + DatabaseFile.advice(path), e);
        }
    }

    private static IOException cannotOpen(File path, String why, Throwable cause) {
        return new IOException("cannot open the database " + path + ": " + why, cause);
    }

    /**
     * The number of audios; a long reference takes several.
     *
     * @return the number of names
     */
    public int size() {
        return names().size();
    }

    /**
     * The names of all audios; bytes that aren't UTF-8 come as U+FFFD.
     *
     * @return the names by audio index, a list that can't be changed
     * @throws IllegalStateException if the database is closed
     */
    public List<String> names() {
        return opened().names();
    }

    /**
     * The name of one audio.
     *
     * @param index an audio index, such as {@link AudioMatchServer.Result#index} of attributes
     *     from {@link #lookUp}
     * @return the name; empty for an index without one
     * @throws IllegalStateException if the database is closed
     */
    public String name(long index) {
        return Recognition.name(names(), index);
    }

    /**
     * Names the reference that a recording was taken from, by the thresholds {@link
     * Recognition#MIN_AGREEING} and {@link Recognition#MIN_DISCRIMINATION}.
     *
     * <p>First the audios with the most hits are judged, as the engine does. Where none of them is
     * recognised, those with the most hits that agree are: in a large database many audios have more
     * hits by chance than the right one has in noise. Of these {@link Recognition#MORE_AMONG_ALL}
     * features more have to agree, and {@link Recognition#LEAD_AMONG_ALL} of the discrimination
     * will do.
     *
     * @param features the recording's features, in any order
     * @return the best audio, and whether it is that
     * @throws NullPointerException if the array or an element is null
     * @throws IllegalArgumentException if the features have more than 2^24 hits in the database
     * @throws IllegalStateException if the database is closed
     */
    public Recognition recognise(AudioFeature[] features) {
        return recognise(features, Recognition.MIN_AGREEING, Recognition.MIN_DISCRIMINATION);
    }

    /**
     * Names the reference that a recording was taken from, by other thresholds: higher ones give
     * fewer wrong names and miss more.
     *
     * @param features the recording's features, in any order
     * @param minAgreeing features that have to agree, 1 or more, of a short recording
     * @param minDiscrimination the least {@link Recognition#discrimination}, 0 to 1, unless {@link
     *     Recognition#PLENTY} times as many features agree
     * @return the best audio, and whether it is that
     * @throws NullPointerException if the array or an element is null
     * @throws IllegalArgumentException if a threshold is out of range, or the features have more
     *     than 2^24 hits in the database
     * @throws IllegalStateException if the database is closed
     */
    public Recognition recognise(
            AudioFeature[] features, int minAgreeing, float minDiscrimination) {
        Arguments.noNullElement(features, "features");
        Arguments.positive(minAgreeing, "minAgreeing");
        if (!(minDiscrimination >= 0 && minDiscrimination <= 1)) {
            throw new IllegalArgumentException(
                    "minDiscrimination must be 0 to 1, but is " + minDiscrimination);
        }
        DatabaseFile database = opened();
        List<Candidate> all = candidates(database, features);
        Recognition first = recognition(database, Candidate.strongest(all), features.length,
                minAgreeing, minDiscrimination);
        if (first.isRecognised() || all.size() <= Candidate.MAX_CANDIDATES) {
            return first;
        }
        // A background takes no place among them.
        all.removeIf(candidate -> Recognition.name(database.names(), candidate.audio).isEmpty());
        Recognition second = recognition(database, Candidate.byAgreeing(all), features.length,
                (long) minAgreeing + Recognition.MORE_AMONG_ALL,
                minDiscrimination * Recognition.LEAD_AMONG_ALL);
        return second.isRecognised() ? second : first;
    }

    /** What candidates come to. Those without a name are a background: what isn't known. */
    private static Recognition recognition(DatabaseFile database, List<Candidate> ranked,
            int features, long minAgreeing, float minDiscrimination) {
        ranked.removeIf(candidate -> Recognition.name(database.names(), candidate.audio).isEmpty());
        return new Recognition(ranked, database.names(), features, minAgreeing, minDiscrimination);
    }

    /**
     * Looks a recording's features up and returns what was found in the order that {@link
     * AudioMatchServer#match} needs: for each feature, in the given order, the entries with its
     * hash key as attributes, with the audio index in place of a stream's id.
     *
     * <p>As {@link AttributeIndex#lookUp} explains, the time of an attribute counts from the first
     * feature of its run. It has 14 bits, so a time before the audio's start would come out at the
     * far end, and part of the hits of a recording that begins before the audio would be lost. For
     * such an audio all times are moved forward by as much as the recording begins earlier: hits
     * agree or not whatever they are all moved by. So a match finds the agreement that one against
     * the file finds.
     *
     * @param features the recording's features, as an extractor returns them; pass the same array
     *     to the server
     * @return the attributes; empty when the database has none of the keys
     * @throws NullPointerException if the array or an element is null
     * @throws IllegalArgumentException if the features have more than 2^24 hits in the database
     * @throws IllegalStateException if the database is closed
     */
    public AudioAttribute[] lookUp(AudioFeature[] features) {
        Arguments.noNullElement(features, "features");
        DatabaseFile database = opened();
        Map<Integer, Integer> leads = leads(candidates(database, features));
        AudioAttribute[] found = new AudioAttribute[hitCount(database, features)];
        FeatureRun run = new FeatureRun();
        int next = 0;
        for (AudioFeature feature : features) {
            long key = FeatureRun.key(feature.hashKey);
            int count = database.count(key);
            long behind = count == 0 ? 0 : run.framesBehindFirst(feature);
            for (int i = 0; i < count; i++) {
                long entry = database.entry(key, i);
                Integer lead = leads.isEmpty() ? null : leads.get(audio(entry));
                found[next++] = new AudioAttribute(
                        FeatureRun.earlier(entry, behind - (lead == null ? 0 : lead)), key);
            }
        }
        return found;
    }

    /**
     * Lets go of the file. Look-ups that run on other threads end as usual; later calls throw
     * {@link IllegalStateException}. The address space is given back when the garbage collector
     * finds that nobody uses the mapping, since taking it from a look-up would end the JVM; until
     * then the disk space of a deleted file stays in use, and Windows refuses to delete it. A
     * second call does nothing.
     */
    @Override
    public void close() {
        file = null;
    }

    private DatabaseFile opened() {
        DatabaseFile opened = file;
        if (opened == null) {
            throw new IllegalStateException("this database is closed");
        }
        return opened;
    }

    private static int audio(long entry) {
        return (int) (entry >>> AudioAttribute.TIME_BITS);
    }

    private static int hitCount(DatabaseFile database, AudioFeature[] features) {
        long count = 0;
        for (AudioFeature feature : features) {
            count += database.count(FeatureRun.key(feature.hashKey));
        }
        if (count > MAX_HITS) {
            throw new IllegalArgumentException("the features have " + count
                    + " hits in the database, more than " + MAX_HITS
                    + "; take those of a shorter recording");
        }
        return (int) count;
    }

    private static List<Candidate> candidates(DatabaseFile database, AudioFeature[] features) {
        long[] hits = new long[hitCount(database, features)];
        int next = 0;
        for (AudioFeature feature : features) {
            long key = FeatureRun.key(feature.hashKey);
            int count = database.count(key);
            for (int i = 0; i < count; i++) {
                long entry = database.entry(key, i);
                long time = entry & AudioAttribute.TIME_MASK;
                hits[next++] = Candidate.hit(audio(entry), (int) (time - feature.startTime));
            }
        }
        Arrays.sort(hits);
        return Candidate.of(hits);
    }

    /** How many frames the recording begins before an audio, for those where it does. */
    private static Map<Integer, Integer> leads(List<Candidate> candidates) {
        Map<Integer, Integer> leads = new HashMap<Integer, Integer>();
        for (Candidate candidate : candidates) {
            // Offsets that agree lie up to twice the tolerance from their median.
            int lead = 2 * Candidate.OFFSET_TOLERANCE - candidate.offset;
            if (lead > 0) {
                leads.put(candidate.audio, lead);
            }
        }
        return leads;
    }
}
