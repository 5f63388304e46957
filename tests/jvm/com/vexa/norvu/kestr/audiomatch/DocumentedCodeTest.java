package com.vexa.norvu.kestr.audiomatch;

import static org.junit.Assert.*;

import java.io.ByteArrayOutputStream;
import java.io.File;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import javax.tools.ToolProvider;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

/**
 * The Java code of the documents, compiled as it stands there and run in a JVM of its own, in a
 * folder with a database. What it prints has to name the recording.
 */
public class DocumentedCodeTest {
    private static final int RATE = TestAudio.RATE;
    private static final short[] BROADCAST = TestAudio.tones(1, 16 * RATE);

    @Rule public final TemporaryFolder folder = new TemporaryFolder();

    @Test
    public void theReadmeNamesARecording() throws Exception {
        List<String> said = run("README.md");
        assertEquals(said.toString(), 1, said.size());
        assertTrue(said.get(0), said.get(0).contains("broadcast"));
    }

    @Test
    public void thePageNamesARecordingInEachWay() throws Exception {
        List<String> said = run("docs/java.md");
        assertEquals(said.toString(), 3, said.size());
        assertTrue(said.get(0), said.get(0).startsWith("It is broadcast, level 2"));
        // TestAudio's piece begins two seconds into the broadcast.
        assertTrue(said.get(1), said.get(1).matches("It is broadcast, from 2.0 s on; .*"));
        assertEquals("It is channel 7", said.get(2));
    }

    /** Runs all the Java code of a document as one program; returns what it printed. */
    private List<String> run(String document) throws Exception {
        StringBuilder imports = new StringBuilder();
        StringBuilder code = new StringBuilder();
        boolean inside = false;
        File page = new File(System.getProperty("documents"), document);
        for (String line : Files.readAllLines(page.toPath())) {
            if (line.startsWith("```")) {
                inside = line.equals("```java");
            } else if (inside) {
                (line.startsWith("import ") ? imports : code).append(line).append('\n');
            }
        }
        if (imports.length() == 0) {
            imports.append("import com.vexa.norvu.kestr.audiomatch.*;\n");
        }
        File source = folder.newFile("Documented.java");
        Files.write(source.toPath(), (imports + "public class Documented {\n"
                + "public static void run(short[] pcm, short[] broadcast) throws Exception {\n"
                + code + "}}\n").getBytes("UTF-8"));
        ByteArrayOutputStream errors = new ByteArrayOutputStream();
        int compiled = ToolProvider.getSystemJavaCompiler().run(null, errors, errors,
                "-Xlint:all", "-Werror", "-encoding", "UTF-8", "-cp",
                System.getProperty("java.class.path"), source.getPath());
        assertEquals(errors.toString("UTF-8"), 0, compiled);

        AudioFeature[] other = TestAudio.features(TestAudio.tones(2, 16 * RATE));
        TestAudio.writeDatabase(new File(folder.getRoot(), "music.db"),
                new byte[][] {"broadcast".getBytes("UTF-8"), "other".getBytes("UTF-8")},
                TestAudio.features(BROADCAST), other);
        File output = folder.newFile();
        File messages = folder.newFile();
        int exitCode = new ProcessBuilder(System.getProperty("java.home") + "/bin/java",
                "-Djava.library.path=" + System.getProperty("java.library.path"), "-cp",
                folder.getRoot() + File.pathSeparator + System.getProperty("java.class.path"),
                DocumentedCodeTest.class.getName())
                .directory(folder.getRoot()).redirectOutput(output).redirectError(messages)
                .start().waitFor();
        assertEquals(String.join("\n", Files.readAllLines(messages.toPath())), 0, exitCode);
        return new ArrayList<>(Files.readAllLines(output.toPath()));
    }

    public static void main(String[] args) throws Exception {
        Class.forName("Documented").getMethod("run", short[].class, short[].class)
                .invoke(null, Arrays.copyOfRange(BROADCAST, 2 * RATE, 8 * RATE), BROADCAST);
    }
}
