import com.vexa.norvu.kestr.audiomatch.AudioMatcher;
import java.io.IOException;
import javax.sound.sampled.UnsupportedAudioFileException;

/**
 * Names the reference audio that a recording was taken from. The exit code is 0 only if it is
 * recognised; the best candidate of one that isn't is printed all the same.
 */
public final class MatchOne {
    public static void main(String[] args) {
        if (args.length != 2) {
            System.err.println("usage: java MatchOne DB FILE.wav");
            System.exit(2);
        }
        AudioMatcher.setVerbose(false);
        try {
            Wav wav = Wav.read(args[1]);
            AudioMatcher.Result result;
            try (AudioMatcher matcher = new AudioMatcher(args[0])) {
                result = matcher.match(wav.pcm, wav.channels, wav.rate);
            }
            System.out.println(!result.isMatched() ? "no match"
                    : result.name() + "\tlevel " + result.level() + "\t"
                            + (result.isRecognised() ? "recognised" : "not recognised"));
            System.exit(result.isRecognised() ? 0 : 1);
        } catch (IOException | UnsupportedAudioFileException | IllegalArgumentException error) {
            System.err.println(error.getMessage());
            System.exit(3);
        }
    }
}
