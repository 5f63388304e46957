package com.vexa.norvu.kestr.audiomatch;

import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/** The layout of a database file: the names of its audios, and where its buckets lie. */
final class DatabaseFile {
    /** One bucket per hash key, and the times of an entry: the file's magic numbers. */
    static final int TABLE_SIZE = 0x100000;
    static final int TIME_SLOTS = 0x4000;

    private static final int COUNT_BYTES = 4;
    private static final int ENTRY_BYTES = 8;
    private static final int MAX_NAME_BYTES = 1 << 20;

    private final MappedFile bytes;
    private final List<String> names = new ArrayList<String>();
    /** Where each bucket's record starts, then where the last one ends. */
    private final long[] records = new long[TABLE_SIZE + 1];

    /** @throws IOException if it isn't a whole database; the message is the reason only */
    DatabaseFile(MappedFile bytes) throws IOException {
        this.bytes = bytes;
        findBuckets(readMagic(readNames()));
    }

    /** Why a path can't be that of a database; null when it is a file that can be read. */
    static String whyUnusable(File file) {
        if (!file.exists()) {
            return "there is no such file; give the path of an existing database";
        }
        if (!file.isFile()) {
            return "it is not a file; give the path of the database file itself";
        }
        if (!file.canRead()) {
            return "it may not be read; change its permissions";
        }
        return null;
    }

    /** What to do about a file that turned out to be no whole database. */
    static String advice(File file) {
        return "run \"audiomatch check " + file + "\" to see what is wrong, and build or copy it"
                + " again";
    }

    List<String> names() {
        return Collections.unmodifiableList(names);
    }

    /** The entries under a hash key; none under keys that the table hasn't got. */
    int count(long key) {
        if (key >= TABLE_SIZE) {
            return 0;
        }
        // Not from the file, so that one that is written over can't lead behind its end.
        long end = records[(int) key + 1];
        return (int) Math.min((end - records[(int) key]) / ENTRY_BYTES, Integer.MAX_VALUE);
    }

    /** An entry packs a time and an audio, as {@link AudioAttribute#hashValue} does. */
    long entry(long key, int i) {
        return bytes.u64At(records[(int) key] + COUNT_BYTES + (long) ENTRY_BYTES * i);
    }

    private long readNames() throws IOException {
        long count = countAt(0, "the number of names");
        long position = COUNT_BYTES;
        if (count * (COUNT_BYTES + 1) > bytes.size() - position) {
            throw new IOException("it hasn't got the " + count + " names that it claims");
        }
        for (long i = 0; i < count; i++) {
            long length = countAt(position, "name " + i);
            long end = position + COUNT_BYTES + length + 1;
            if (end > bytes.size()) {
                throw new IOException("name " + i + " goes on behind the end of the file");
            }
            names.add(text(position + COUNT_BYTES, end));
            position = end;
        }
        return position;
    }

    /** The text up to a zero byte, or all of it. */
    private String text(long position, long end) throws IOException {
        ByteArrayOutputStream text = new ByteArrayOutputStream();
        for (; position < end && bytes.byteAt(position) != 0; position++) {
            if (text.size() == MAX_NAME_BYTES) {
                throw new IOException("a name has more than " + MAX_NAME_BYTES + " bytes");
            }
            text.write(bytes.byteAt(position));
        }
        return new String(text.toByteArray(), StandardCharsets.UTF_8);
    }

    private long readMagic(long position) throws IOException {
        long tableSize = countAt(position, "the table size");
        long timeSlots = countAt(position + COUNT_BYTES, "the number of times");
        if (tableSize != TABLE_SIZE || timeSlots != TIME_SLOTS) {
            throw new IOException("it is not a fingerprint database");
        }
        return position + 2 * COUNT_BYTES;
    }

    private void findBuckets(long position) throws IOException {
        for (int key = 0; key < TABLE_SIZE; key++) {
            records[key] = position;
            position += COUNT_BYTES + ENTRY_BYTES * countAt(position, "bucket " + key);
            if (position > bytes.size()) {
                throw new IOException("it is cut or damaged: bucket " + key + " would end at byte "
                        + position + " of " + bytes.size());
            }
        }
        records[TABLE_SIZE] = position;
    }

    private long countAt(long position, String what) throws IOException {
        if (bytes.size() - position < COUNT_BYTES) {
            throw new IOException("it ends before " + what);
        }
        return bytes.u32At(position);
    }
}
