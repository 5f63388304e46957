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
    public void messagesComeInTheirPlaces() throws Exception {
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
        AudioMatcher.nativeExtractAudioFeatures(matcher, pcm, 1, RATE + 1, RATE);
        AudioFeatureExtractor.nativeExtractAudioFeatures(packet, 0, 3200, 0);
        logged("audio matcher is null.", "bad data lenght : 8000.",
                "input a invalid channel num = 0.");
        // These are refused without a message.
        AudioMatcher.nativeMatchAudio(matcher, null, 1, RATE, RATE, level);
        AudioMatcher.nativeMatchAudio(matcher, pcm, 1, RATE, RATE, null);
        AudioFeatureExtractor.nativeExtractAudioFeatures(null, 1, 2 * RATE, RATE);

        long stream = AudioAttributeExtractor.nativeInit(1, 1, 10, RATE, 1, 1600);
        AudioAttributeExtractor.nativeUpdate(stream, packet, 1, 1601, RATE);
        logged("bad data lenght : 3200.");
        AudioMatchServer.match(new AudioFeature[] {new AudioFeature(10, 7)}, new AudioAttribute[0]);
        logged("features number is 1.", "cvt obj array to features success.",
                "attributes array number is zero.", "cvt obj array to attributes failed.");

        // One class switches the log for all.
        AudioMatchServer.setVerbose(false);
        AudioMatcher.nativeMatchAudio(matcher, pcm, 1, RATE, RATE, level);
        AudioFeatureExtractor.setVerbose(true);
        AudioAttributeExtractor.nativeUpdate(0, packet, 1, 1600, RATE);
        logged("audio matcher is null.");
        AudioAttributeExtractor.nativeRelease(stream);
        AudioMatcher.nativeRelease(matcher);
    }
}
