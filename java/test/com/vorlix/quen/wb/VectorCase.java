package com.vorlix.quen.wb;

import java.io.IOException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/** A case of the public vectors: the values of a line, under the names that the second line of its file gives them. */
final class VectorCase {
    /** The file and the case's name. */
    final String where;
    private final Map<String, String> fields = new HashMap<>();

    private VectorCase(String file, String[] names, String[] values) {
        where = file + " " + values[0];
        if (values.length != names.length) {
            throw new AssertionError(where + " has " + values.length + " fields instead of " + names.length);
        }
        for (int i = 0; i < names.length; i++) {
            fields.put(names[i], values[i]);
        }
    }

    boolean has(String field) {
        return fields.containsKey(field);
    }

    String word(String field) {
        if (!has(field)) {
            throw new AssertionError(where + " has no field " + field);
        }
        return fields.get(field);
    }

    byte[] bytes(String field) {
        return word(field).equals("-") ? new byte[0] : TestTables.unhex(word(field));
    }

    /** All cases of all files of a kind. */
    static List<VectorCase> read(String kind) throws IOException {
        List<VectorCase> cases = new ArrayList<>();
        try (DirectoryStream<Path> files =
                Files.newDirectoryStream(Paths.get(System.getProperty("wbkit.vectors")), kind + "_*.txt")) {
            for (Path file : files) {
                List<String> lines = Files.readAllLines(file);
                String[] names = lines.get(1).replaceFirst("^# fields: ", "").replaceFirst(" \\(.*", "").split(" ");
                for (String line : lines.subList(2, lines.size())) {
                    cases.add(new VectorCase(file.getFileName().toString(), names, line.split(" ")));
                }
            }
        }
        return cases;
    }
}
