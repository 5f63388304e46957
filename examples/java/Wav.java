import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;
import javax.sound.sampled.AudioFormat;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import javax.sound.sampled.UnsupportedAudioFileException;

/** A 16-bit PCM WAV file in memory. */
final class Wav {
    final String name;
    final short[] pcm; // Channels interleaved.
    final int channels;
    final int rate; // Frames per second.

    private Wav(String name, short[] pcm, int channels, int rate) {
        this.name = name;
        this.pcm = pcm;
        this.channels = channels;
        this.rate = rate;
    }

    static Wav read(String path) throws IOException, UnsupportedAudioFileException {
        File file = new File(path);
        if (!file.isFile()) {
            throw new IOException(path + ": no such file");
        }
        try (AudioInputStream in = AudioSystem.getAudioInputStream(file)) {
            AudioFormat format = in.getFormat();
            if (format.getEncoding() != AudioFormat.Encoding.PCM_SIGNED
                    || format.getSampleSizeInBits() != 16) {
                throw new UnsupportedAudioFileException(path + " is not 16-bit PCM: " + format);
            }
            ByteArrayOutputStream bytes = new ByteArrayOutputStream();
            byte[] block = new byte[1 << 16];
            for (int n = in.read(block); n > 0; n = in.read(block)) {
                bytes.write(block, 0, n);
            }
            short[] pcm = new short[bytes.size() / 2];
            ByteOrder order =
                    format.isBigEndian() ? ByteOrder.BIG_ENDIAN : ByteOrder.LITTLE_ENDIAN;
            ByteBuffer.wrap(bytes.toByteArray()).order(order).asShortBuffer().get(pcm);
            return new Wav(file.getName(), pcm, format.getChannels(), (int) format.getSampleRate());
        }
    }

    double seconds() {
        return (double) pcm.length / channels / rate;
    }

    /** The samples from one time to another. */
    short[] cut(double fromSeconds, double toSeconds) {
        return Arrays.copyOfRange(pcm, (int) (fromSeconds * rate) * channels,
                (int) (toSeconds * rate) * channels);
    }
}
