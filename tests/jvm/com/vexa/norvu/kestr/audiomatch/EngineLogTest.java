package com.vexa.norvu.kestr.audiomatch;

import static org.junit.Assert.assertEquals;

import java.io.File;
import java.io.PrintStream;
import java.nio.file.Files;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

/**
 * The engine's log, which goes to standard error and so is read from a JVM of its own. That JVM
 * runs {@link #main}, which writes the messages that it expects to standard output.
 */
public class EngineLogTest {
    private static final int RATE = TestAudio.RATE;

    @Rule public final TemporaryFolder folder = new TemporaryFolder();

    @Test
    public void everyMessageComesInItsPlace() throws Exception {
        File expected = folder.newFile();
        File log = folder.newFile();
        Process jvm = new ProcessBuilder(System.getProperty("java.home") + "/bin/java",
                "-Xcheck:jni", "-Djava.library.path=" + System.getProperty("java.library.path"),
                "-cp", System.getProperty("java.class.path"), EngineLogTest.class.getName())
                .redirectOutput(expected).redirectError(log).start();
        int exitCode = jvm.waitFor();
        assertEquals(String.join("\n", Files.readAllLines(expected.toPath())),
                String.join("\n", Files.readAllLines(log.toPath())));
        assertEquals(0, exitCode);
    }

    private static void logged(String... messages) throws Exception {
        PrintStream out = new PrintStream(System.out, true, "UTF-8");
        for (String message : messages) {
            out.println("I/native-log: " + message);
        }
    }

    public static void main(String[] args) throws Exception {
        short[] pcm = TestAudio.tones(1, RATE);
        byte[] packet = new byte[3200];
        int[] level = new int[1];

        long matcher = AudioMatcher.nativeInit(null);
        logged("input db_path is null.");
        AudioMatcher.nativeMatchAudio(matcher, pcm, 1, RATE, RATE, level);
        logged("get data success.", "get discrimination success.", "audio channels = 1.",
                "audio sample rate = 8000.", "audio data len = 8000.", "query data base is NULL.");
        AudioMatcher.nativeInit("/missing/\u00E9\uD83C\uDFB5.db");
        logged("can not open db file /missing/\u00E9\uD83C\uDFB5.db.");

        AudioMatcher.nativeMatchAudio(0, pcm, 1, RATE, RATE, level);
        AudioMatcher.nativeExtractAudioFeatures(0, pcm, 1, RATE, RATE);
        AudioAttributeExtractor.nativeUpdate(0, packet, 1, 1600, RATE);
        AudioAttributeExtractor.nativeGetExpiredAttributes(0);
        logged("audio matcher is null.", "audio matcher is null.", "audio matcher is null.",
                "audio matcher is null.");

        AudioMatcher.nativeMatchAudio(matcher, pcm, 2, RATE / 2 + 1, RATE, level);
        AudioMatcher.nativeExtractAudioFeatures(matcher, pcm, 1, RATE + 1, RATE);
        AudioFeatureExtractor.nativeExtractAudioFeatures(new byte[30], 1, 32, RATE);
        logged("bad data lenght : 8000.", "bad data lenght : 8000.", "bad data lenght : 30.");
        // These are refused without a message.
        AudioMatcher.nativeMatchAudio(matcher, null, 1, RATE, RATE, level);
        AudioMatcher.nativeExtractAudioFeatures(matcher, pcm, -1, RATE, RATE);
        AudioFeatureExtractor.nativeExtractAudioFeatures(packet, 1, 1L << 33, RATE);
        AudioFeatureExtractor.nativeExtractAudioFeatures(packet, 0, 3200, 0);
        AudioFeatureExtractor.nativeExtractAudioFeatures(packet, 1, 3200, 0);
        AudioFeatureExtractor.nativeExtractAudioFeatures(packet, 1, 1, RATE);
        logged("input a invalid channel num = 0.", "input a invalid sample rate = 0.",
                "input a invalid sample count = 0.");
        AudioFeatureExtractor.nativeExtractAudioFeatures(new byte[2 * RATE], 1, 2 * RATE, RATE);
        logged("audio channels = 1.", "audio sample rate = 8000.", "audio data len = 8000.",
                "init feature extractor success.", "load audio data success.",
                "gen spectrogram mag failed.", "gen sepctrogram failed.",
                "extract features failed.");

        AudioAttributeExtractor.nativeInit(1, 0, 10, RATE, 1, 1600);
        logged("input bad parameters, update_rate = 0, sample rate = 8000, monitor_win_len = 10, "
                + "input_audio_packet_len = 1600.", "init stream feature extractor failed.");
        AudioAttributeExtractor.nativeInit(1, 3, 10, RATE, 1, 1600);
        logged("monitor_duration % update_rate must be zero.",
                "init stream feature extractor failed.");
        long stream = AudioAttributeExtractor.nativeInit(1, 1, 10, RATE, 1, 1600);
        AudioAttributeExtractor.nativeUpdate(stream, packet, 1, 1599, RATE);
        AudioAttributeExtractor.nativeUpdate(stream, packet, 1, 1601, RATE);
        logged("bad data lenght : 3200.", "bad data lenght : 3200.");
        AudioAttributeExtractor.nativeUpdate(stream, packet, 2, 800, RATE);
        logged("audio channels = 2.", "audio sample rate = 8000.", "audio data len = 800.",
                "input packet does not match the stream.");

        AudioFeature[] feature = {new AudioFeature(10, 7)};
        AudioMatchServer.match(feature, new AudioAttribute[0]);
        logged("features number is 1.", "cvt obj array to features success.",
                "attributes array number is zero.", "cvt obj array to attributes failed.");
        String[] scored = {"features number is 1.", "cvt obj array to features success.",
            "attributes array number is 1.", "cvt obj array to attributes success.",
            "most matched feature num is 1.", "second most matched feature num is 0.",
            "most matched audio discrimination is 1.000000."};
        AudioMatchServer.match(feature, new AudioAttribute[] {new AudioAttribute(82020, 7)});
        logged(scored);
        logged("matching audio by features and attributes success.");
        // An attribute that no feature takes wins against nothing.
        AudioMatchServer.match(feature, new AudioAttribute[] {new AudioAttribute(82020, 8)});
        logged(scored);
        logged("matched failed.", "matching audio by features and attributes failed.");

        // One class switches the log for all.
        AudioMatchServer.setVerbose(false);
        AudioMatcher.nativeMatchAudio(matcher, pcm, 1, RATE, RATE, level);
        AudioAttributeExtractor.nativeUpdate(stream, packet, 1, 1601, RATE);
        AudioFeatureExtractor.setVerbose(true);
        AudioMatcher.nativeMatchAudio(0, pcm, 1, RATE, RATE, level);
        logged("audio matcher is null.");
        AudioAttributeExtractor.nativeRelease(stream);
        AudioMatcher.nativeRelease(matcher);
    }
}
