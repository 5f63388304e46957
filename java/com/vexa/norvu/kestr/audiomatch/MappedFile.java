package com.vexa.norvu.kestr.audiomatch;

import java.io.File;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.channels.FileChannel;

/**
 * A file of little-endian numbers in memory that the system shares and pages in as needed.
 *
 * <p>A mapping ends below 2 GiB, so a file takes several. Each goes on a little into the next, so
 * that a number across the border is whole in one of them. Reading changes nothing: any number of
 * threads may.
 */
final class MappedFile {
    /** Mappings of 1 GiB. */
    static final int CHUNK_BITS = 30;

    private static final int OVERLAP = Long.BYTES - 1;
    private static final int MAX_CHUNKS = 1 << 17; // 128 TiB, all that a process can address.

    private final long size;
    private final int chunkBits;
    private final ByteBuffer[] chunks;

    /**
     * Maps a file, which isn't kept open.
     *
     * @param chunkBits the mappings have 2^chunkBits bytes
     * @throws IOException if it can't be read or there is no room for it
     */
    MappedFile(File file, int chunkBits) throws IOException {
        this.chunkBits = chunkBits;
        try (RandomAccessFile opened = new RandomAccessFile(file, "r")) {
            size = opened.length();
            long count = (size >>> chunkBits) + 1;
            if (count > MAX_CHUNKS) {
                throw new IOException("its " + size + " bytes are more than can be mapped");
            }
            chunks = new ByteBuffer[(int) count];
            for (int i = 0; i < chunks.length; i++) {
                long start = (long) i << chunkBits;
                long length = Math.min(size - start, (1L << chunkBits) + OVERLAP);
                chunks[i] = map(opened.getChannel(), start, length);
            }
        }
    }

    private ByteBuffer map(FileChannel channel, long start, long length) throws IOException {
        try {
            return channel.map(FileChannel.MapMode.READ_ONLY, start, length)
                    .order(ByteOrder.LITTLE_ENDIAN);
        } catch (IOException e) {
            throw new IOException(
                    "there is no room to map its " + size + " bytes: " + e.getMessage(), e);
        }
    }

    long size() {
        return size;
    }

    byte byteAt(long position) {
        return chunk(position).get(place(position));
    }

    /** The unsigned number of four bytes. */
    long u32At(long position) {
        return chunk(position).getInt(place(position)) & 0xFFFFFFFFL;
    }

    long u64At(long position) {
        return chunk(position).getLong(place(position));
    }

    private ByteBuffer chunk(long position) {
        return chunks[(int) (position >>> chunkBits)];
    }

    private int place(long position) {
        return (int) (position & (1L << chunkBits) - 1);
    }
}
