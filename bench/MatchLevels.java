import com.vexa.norvu.kestr.audiomatch.AudioMatcher;
import java.io.BufferedReader;
import java.io.DataInputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/**
 * Answers lines of DATABASE, a tab, FILE (16-bit mono at 8 kHz without a header), with lines of
 * level, a tab, name. Lines of one database stand together, as each is loaded once.
 */
final class MatchLevels {
    private static final int RATE = 8000;

    private MatchLevels() {}

    public static void main(String[] args) throws IOException {
        AudioMatcher.setVerbose(false);
        BufferedReader lines = new BufferedReader(new InputStreamReader(System.in));
        String database = "";
        AudioMatcher matcher = null;
        for (String line = lines.readLine(); line != null; line = lines.readLine()) {
            String[] asked = line.split("\t");
            if (!asked[0].equals(database)) {
                if (matcher != null) {
                    matcher.close();
                }
                database = asked[0];
                matcher = new AudioMatcher(database);
            }
            AudioMatcher.Result result = matcher.match(pcm(new File(asked[1])), 1, RATE);
            System.out.println(result.level() + "\t" + result.name());
        }
        if (matcher != null) {
            matcher.close();
        }
    }

    private static short[] pcm(File file) throws IOException {
        byte[] bytes = new byte[(int) file.length()];
        try (DataInputStream in = new DataInputStream(new FileInputStream(file))) {
            in.readFully(bytes);
        }
        short[] pcm = new short[bytes.length / 2];
        ByteBuffer.wrap(bytes).order(ByteOrder.LITTLE_ENDIAN).asShortBuffer().get(pcm);
        return pcm;
    }
}
