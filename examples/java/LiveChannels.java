import com.vexa.norvu.kestr.audiomatch.AttributeIndex;
import com.vexa.norvu.kestr.audiomatch.AudioAttributeExtractor;
import com.vexa.norvu.kestr.audiomatch.AudioFeature;
import com.vexa.norvu.kestr.audiomatch.AudioFeatureExtractor;
import com.vexa.norvu.kestr.audiomatch.AudioMatchServer;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import javax.sound.sampled.UnsupportedAudioFileException;

/**
 * Which channel is playing? A server follows several live channels, and names the one that a
 * phone's recording of a few seconds was taken from.
 *
 * <p>Each WAV file is a channel on air. All are streamed side by side until the shortest ends. Then
 * each channel is "heard": a piece of it with noise on top is fingerprinted and looked up. So is a
 * file that isn't on air, to show what becomes of it. The exit code is 0 only if every
 * channel was named.
 */
public final class LiveChannels {
    private static final String USAGE =
            "usage: java LiveChannels [--heard SECONDS] [--snr DB] [--seed N] [--monitor SECONDS]\n"
            + "                         [--off-air FILE.wav] CHANNEL.wav...";

    private static final int UPDATE_SECONDS = 1;
    private static final double PACKET_SECONDS = 0.2;

    /** Attributes follow the sound by the five seconds analysed together and an update period. */
    private static final double LAG_SECONDS = 5 + UPDATE_SECONDS;

    private double heardSeconds = 8;
    private double snr = 10;
    private long seed = 1;
    private int monitorSeconds = 60;
    private String offAir;
    private final List<Wav> channels = new ArrayList<Wav>();

    public static void main(String[] args) {
        LiveChannels example = new LiveChannels();
        try {
            if (!example.parse(args)) {
                System.err.println(USAGE);
                System.exit(2);
            }
            System.exit(example.run() ? 0 : 1);
        } catch (IOException | UnsupportedAudioFileException | IllegalArgumentException error) {
            System.err.println(error.getMessage());
            System.exit(3);
        }
    }

    private boolean run() throws IOException, UnsupportedAudioFileException {
        AudioMatchServer.setVerbose(false);
        double onAir = Double.MAX_VALUE;
        for (Wav channel : channels) {
            onAir = Math.min(onAir, channel.seconds());
        }
        double end = onAir - LAG_SECONDS; // Of what can be heard.
        if (end < heardSeconds) {
            System.err.printf("the shortest channel lasts %.1f s and must last %.1f s or more%n",
                    onAir, heardSeconds + LAG_SECONDS);
            return false;
        }

        AttributeIndex index = new AttributeIndex();
        stream(onAir, index);

        System.out.printf("%d channels on air for %.1f s, %d attributes of the last %d s held%n",
                channels.size(), onAir, index.size(), monitorSeconds);
        System.out.printf("each heard for %.1f s with noise at %.0f dB below it%n%n",
                heardSeconds, snr);
        System.out.printf("%-28s %-28s %s%n", "heard", "answer", "discrimination");
        Random random = new Random(seed);
        boolean allNamed = true;
        for (int id = 0; id < channels.size(); id++) {
            Wav heard = channels.get(id);
            allNamed &= name(heard, end, index, random) == id;
        }
        if (offAir != null) {
            Wav heard = Wav.read(offAir);
            name(heard, heard.seconds(), index, random);
            System.out.println("(the last one is not on air)");
        }
        return allNamed;
    }

    /** Streams all channels side by side, and keeps what they play in the index. */
    private void stream(double seconds, AttributeIndex index) {
        List<AudioAttributeExtractor> extractors = new ArrayList<AudioAttributeExtractor>();
        try {
            for (int id = 0; id < channels.size(); id++) {
                Wav channel = channels.get(id);
                extractors.add(new AudioAttributeExtractor(id, UPDATE_SECONDS, monitorSeconds,
                        channel.rate, channel.channels, packetFrames(channel)));
            }
            for (int packet = 0; packet < (int) (seconds / PACKET_SECONDS); packet++) {
                for (int id = 0; id < channels.size(); id++) {
                    Wav channel = channels.get(id);
                    int length = packetFrames(channel) * channel.channels;
                    index.apply(extractors.get(id).update(Arrays.copyOfRange(
                            channel.pcm, packet * length, (packet + 1) * length)));
                }
            }
        } finally {
            for (AudioAttributeExtractor extractor : extractors) {
                extractor.close();
            }
        }
    }

    /** Hears the seconds before {@code end}, prints a row, returns the id of the answer or -1. */
    private long name(Wav heard, double end, AttributeIndex index, Random random) {
        short[] recording = heard.cut(Math.max(0, end - heardSeconds), end);
        addNoise(recording, random);
        AudioFeature[] features =
                AudioFeatureExtractor.extract(recording, heard.channels, heard.rate);
        AudioMatchServer.Result result =
                AudioMatchServer.match(features, index.lookUp(features));
        String answer = result.isRecognised()
                ? channels.get((int) result.streamId()).name : "not recognised";
        System.out.printf("%-28s %-28s %.3f%n", heard.name, answer, result.discrimination());
        return result.isRecognised() ? result.index() : -1;
    }

    private void addNoise(short[] pcm, Random random) {
        double power = 0;
        for (short sample : pcm) {
            power += (double) sample * sample / pcm.length;
        }
        double deviation = Math.sqrt(power / Math.pow(10, snr / 10));
        for (int i = 0; i < pcm.length; i++) {
            long noisy = Math.round(pcm[i] + deviation * random.nextGaussian());
            pcm[i] = (short) Math.max(Short.MIN_VALUE, Math.min(Short.MAX_VALUE, noisy));
        }
    }

    private static int packetFrames(Wav wav) {
        return (int) Math.round(wav.rate * PACKET_SECONDS);
    }

    private boolean parse(String[] args) throws IOException, UnsupportedAudioFileException {
        for (int i = 0; i < args.length; i++) {
            if (!args[i].startsWith("--")) {
                channels.add(Wav.read(args[i]));
                continue;
            }
            if (i + 1 == args.length) {
                return false;
            }
            String value = args[++i];
            switch (args[i - 1]) {
                case "--heard": heardSeconds = Double.parseDouble(value); break;
                case "--snr": snr = Double.parseDouble(value); break;
                case "--seed": seed = Long.parseLong(value); break;
                case "--monitor": monitorSeconds = Integer.parseInt(value); break;
                case "--off-air": offAir = value; break;
                default: return false;
            }
        }
        return !channels.isEmpty();
    }
}
