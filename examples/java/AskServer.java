import com.vexa.norvu.kestr.audiomatch.AudioFeature;
import com.vexa.norvu.kestr.audiomatch.AudioFeatureExtractor;
import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.HttpURLConnection;
import java.net.URL;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.Comparator;
import java.util.zip.CRC32;
import java.util.zip.Deflater;
import java.util.zip.DeflaterOutputStream;
import javax.sound.sampled.UnsupportedAudioFileException;

/**
 * A phone that asks a server what is playing: it fingerprints what it heard and sends a few
 * kilobytes, in the compact form of {@code docs/fingerprint-format.md}. Prints the server's answer,
 * JSON. The exit code is 0 if it is recognised, 1 if not.
 */
public final class AskServer {
    private static final int TIMEOUT_MILLIS = 10_000;

    public static void main(String[] args) {
        if (args.length != 2) {
            System.err.println("usage: java AskServer http://HOST:PORT FILE.wav");
            System.exit(2);
        }
        AudioFeatureExtractor.setVerbose(false);
        try {
            Wav wav = Wav.read(args[1]);
            AudioFeature[] features =
                    AudioFeatureExtractor.extract(wav.pcm, wav.channels, wav.rate);
            long millis = 1000L * wav.pcm.length / wav.channels / wav.rate;
            String answer = ask(args[0] + "/v1/recognise", compact(features, millis));
            System.out.print(answer);
            System.exit(answer.contains("\"kind\":\"recognised\"") ? 0 : 1);
        } catch (IOException | UnsupportedAudioFileException | IllegalArgumentException error) {
            System.err.println(error.getMessage());
            System.exit(3);
        }
    }

    /** The features in the compact form. */
    private static byte[] compact(AudioFeature[] features, long millis) throws IOException {
        AudioFeature[] sorted = features.clone();
        Arrays.sort(sorted, Comparator.<AudioFeature>comparingLong(feature -> feature.startTime)
                .thenComparingLong(feature -> feature.hashKey));
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        DataOutputStream out = new DataOutputStream(bytes);
        out.writeBytes("AMFP\u0001");
        writeNumber(out, millis);
        writeNumber(out, sorted.length);
        try (Zipped zipped = new Zipped(out)) {
            long time = 0;
            long key = 0;
            for (AudioFeature feature : sorted) {
                writeNumber(zipped, feature.startTime - time);
                writeNumber(zipped, feature.startTime == time ? feature.hashKey - key
                        : feature.hashKey);
                time = feature.startTime;
                key = feature.hashKey;
            }
        }
        CRC32 sum = new CRC32();
        sum.update(bytes.toByteArray());
        out.writeInt(Integer.reverseBytes((int) sum.getValue()));
        return bytes.toByteArray();
    }

    /** A zlib stream inside of another one, which stays open. */
    private static final class Zipped extends DeflaterOutputStream {
        Zipped(OutputStream out) {
            super(out, new Deflater(Deflater.BEST_COMPRESSION));
        }

        @Override
        public void close() throws IOException {
            finish();
            def.end();
        }
    }

    /** In groups of seven bits, least significant first; bit 7 is set in all but the last. */
    private static void writeNumber(OutputStream out, long number) throws IOException {
        for (; number >= 0x80; number >>>= 7) {
            out.write((int) (number & 0x7F | 0x80));
        }
        out.write((int) number);
    }

    private static String ask(String url, byte[] body) throws IOException {
        HttpURLConnection connection = (HttpURLConnection) new URL(url).openConnection();
        connection.setConnectTimeout(TIMEOUT_MILLIS);
        connection.setReadTimeout(TIMEOUT_MILLIS);
        connection.setRequestMethod("POST");
        connection.setDoOutput(true);
        connection.setFixedLengthStreamingMode(body.length);
        connection.setRequestProperty("Content-Type", "application/octet-stream");
        try (OutputStream out = connection.getOutputStream()) {
            out.write(body);
        }
        boolean done = connection.getResponseCode() == HttpURLConnection.HTTP_OK;
        String answer = read(done ? connection.getInputStream() : connection.getErrorStream());
        if (!done) {
            throw new IOException(url + ": " + connection.getResponseCode() + " " + answer.trim());
        }
        return answer;
    }

    private static String read(InputStream in) throws IOException {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        byte[] piece = new byte[8192];
        for (int size; in != null && (size = in.read(piece)) >= 0;) {
            bytes.write(piece, 0, size);
        }
        return new String(bytes.toByteArray(), StandardCharsets.UTF_8);
    }
}
