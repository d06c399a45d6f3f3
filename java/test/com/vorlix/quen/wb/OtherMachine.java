package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** A virtual machine of its own for a program, whose state nothing else has touched. */
final class OtherMachine {
    private OtherMachine() {}

    /** Runs it with so many megabytes of heap, and returns what it prints. */
    static String run(Class<?> program, int heap, String libraryPath, String... args)
            throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(Arrays.asList(System.getProperty("java.home") + "/bin/java",
                "-Xmx" + heap + "m", "-XX:+UseSerialGC", "-Xcheck:jni", "-Djava.library.path=" + libraryPath,
                "-Dwbkit.library=" + System.getProperty("wbkit.library"),
                "-Dwbkit.tables=" + System.getProperty("wbkit.tables"),
                "-cp", System.getProperty("java.class.path"), program.getName()));
        command.addAll(Arrays.asList(args));
        File output = File.createTempFile("wbkit", ".out");
        try {
            ProcessBuilder builder = new ProcessBuilder(command).redirectOutput(output)
                    .redirectError(ProcessBuilder.Redirect.INHERIT);
            builder.environment().put("WBKIT_LOG_LEVEL", "S");
            int status = builder.start().waitFor();
            String printed = new String(Files.readAllBytes(output.toPath()));
            assertEquals(0, status, printed);
            return printed;
        } finally {
            Files.delete(output.toPath());
        }
    }
}
