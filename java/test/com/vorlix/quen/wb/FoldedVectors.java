package com.vorlix.quen.wb;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.GeneralSecurityException;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** The public vectors of a kind whose keys fit into table libraries, and their keys, folded by wbtables. */
final class FoldedVectors {
    private static final int KEYS_A_LIBRARY = 10; // it has no room for more

    final List<VectorCase> cases;
    private final String kind;
    private final Path folder;
    private final Map<String, WhiteboxKey> keys = new ConcurrentHashMap<>();

    FoldedVectors(String kind, Path folder) throws IOException {
        this.kind = kind;
        this.folder = folder;
        // A signing key has 32 bytes.
        cases = VectorCase.read(kind).stream()
                .filter(each -> !kind.startsWith("hmac") || each.word("key").length() == 64)
                .collect(Collectors.toList());
        List<String> values = cases.stream().map(each -> each.word("key")).distinct().collect(Collectors.toList());
        if (values.isEmpty()) {
            throw new AssertionError("no vectors of kind " + kind);
        }
        IntStream.rangeClosed(0, (values.size() - 1) / KEYS_A_LIBRARY).parallel().forEach(version -> fold(version,
                values.subList(version * KEYS_A_LIBRARY, Math.min((version + 1) * KEYS_A_LIBRARY, values.size()))));
    }

    WhiteboxKey key(VectorCase each) {
        return keys.get(each.word("key"));
    }

    private void fold(int version, List<String> values) {
        try {
            build(version, values);
            TableLibrary.load(folder.resolve("libwb_tables_" + kind + "_" + version + ".so"));
            byte[] token = ClearKey.hmac(TestTables.bytes(kind + "vectors"), TestTables.bytes("sk"));
            TableLibrary library = TableLibrary.open(kind, version, Credentials.fromToken(token, "tests"));
            for (int i = 0; i < values.size(); i++) {
                keys.put(values.get(i), library.key("k" + i));
            }
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        } catch (GeneralSecurityException | InterruptedException e) {
            throw new AssertionError(e);
        }
    }

    private void build(int version, List<String> values) throws IOException, InterruptedException {
        StringBuilder manifest = new StringBuilder("sk = 'text:sk'\nak = 'text:ak'\nappid = 'vectors'\n");
        manifest.append("wbid = '" + kind + "'\nversion = " + version + "\n");
        for (int i = 0; i < values.size(); i++) {
            manifest.append("[[key]]\nid = 'k" + i + "'\n" + key(values.get(i)) + "\n");
        }
        Path file = folder.resolve(kind + "_" + version + ".toml");
        Path log = folder.resolve(kind + "_" + version + ".log");
        // It holds keys: wbtables takes it from its owner alone.
        Files.createFile(file, PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------")));
        Files.write(file, TestTables.bytes(manifest.toString()));
        int status = new ProcessBuilder(System.getProperty("wbkit.wbtables"), "build", file.toString(), "-o",
                folder.toString(), "--allow-inline-keys")
                .redirectErrorStream(true).redirectOutput(log.toFile()).start().waitFor();
        if (status != 0) {
            throw new AssertionError(String.join("\n", Files.readAllLines(log)));
        }
    }

    private String key(String value) {
        if (kind.startsWith("hmac")) {
            return "cipher = 'aes-128'\nvalue = 'random'\nsigning_key = 'hex:" + value + "'";
        }
        String cipher = kind.startsWith("sm4") ? "sm4" : "aes-" + 4 * value.length();
        return "cipher = '" + cipher + "'\nvalue = 'hex:" + value + "'";
    }
}
