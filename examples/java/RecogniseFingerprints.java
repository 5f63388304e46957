import com.vexa.norvu.kestr.audiomatch.AudioFeature;
import com.vexa.norvu.kestr.audiomatch.AudioFeatureExtractor;
import com.vexa.norvu.kestr.audiomatch.FingerprintDatabase;
import com.vexa.norvu.kestr.audiomatch.Recognition;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.Arrays;
import javax.sound.sampled.UnsupportedAudioFileException;

/**
 * A phone sends fingerprints, not sound, and a server names the recordings that they were taken
 * from. Here both are one program; what goes over the network between them is an array of bytes.
 * The exit code is 0 only if all are recognised.
 */
public final class RecogniseFingerprints {
    /** A feature in four bytes: 20 bits of hash key, and 12 of time for up to 131 s. */
    private static final int TIME_BITS = 12;

    public static void main(String[] args) {
        if (args.length < 2) {
            System.err.println("usage: java RecogniseFingerprints DB FILE.wav...");
            System.exit(2);
        }
        AudioFeatureExtractor.setVerbose(false);
        boolean all = true;
        try (FingerprintDatabase database = new FingerprintDatabase(args[0])) {
            for (String path : Arrays.asList(args).subList(1, args.length)) {
                byte[] request = phone(Wav.read(path));
                Recognition answer = server(database, request);
                System.out.println(path + ": " + answer + ", " + request.length + " bytes sent");
                all &= answer.isRecognised();
            }
        } catch (IOException | UnsupportedAudioFileException | IllegalArgumentException error) {
            System.err.println(error.getMessage());
            System.exit(3);
        }
        System.exit(all ? 0 : 1);
    }

    private static byte[] phone(Wav wav) {
        AudioFeature[] features = AudioFeatureExtractor.extract(wav.pcm, wav.channels, wav.rate);
        ByteBuffer request = ByteBuffer.allocate(Integer.BYTES * features.length);
        for (AudioFeature feature : features) {
            if (feature.startTime >>> TIME_BITS != 0) {
                throw new IllegalArgumentException("a recording may last 131 s, no longer");
            }
            request.putInt((int) (feature.hashKey << TIME_BITS | feature.startTime));
        }
        return request.array();
    }

    private static Recognition server(FingerprintDatabase database, byte[] request) {
        ByteBuffer packed = ByteBuffer.wrap(request);
        AudioFeature[] features = new AudioFeature[request.length / Integer.BYTES];
        for (int i = 0; i < features.length; i++) {
            int bits = packed.getInt();
            features[i] =
                    new AudioFeature(bits & (1 << TIME_BITS) - 1, bits >>> TIME_BITS);
        }
        return database.recognise(features);
    }
}
