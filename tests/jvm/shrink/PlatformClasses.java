import java.io.IOException;
import java.io.OutputStream;
import java.net.URI;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import java.util.zip.ZipEntry;
import java.util.zip.ZipOutputStream;

/**
 * Writes a jar of this virtual machine's java.* and javax.* classes that says Java 8: what a shrinker reads of them has
 * not changed since, but it refuses versions that are younger than itself.
 */
public final class PlatformClasses {
    public static void main(String[] args) throws IOException {
        Path module = FileSystems.getFileSystem(URI.create("jrt:/")).getPath("/modules/java.base");
        List<Path> files;
        try (Stream<Path> all = Files.walk(module)) {
            files = all.filter(file -> module.relativize(file).toString().matches("javax?/.*\\.class"))
                    .collect(Collectors.toList());
        }
        try (OutputStream out = Files.newOutputStream(Paths.get(args[0]));
                ZipOutputStream jar = new ZipOutputStream(out)) {
            for (Path file : files) {
                byte[] bytes = Files.readAllBytes(file);
                bytes[7] = 52; // the low byte of the class file's version
                jar.putNextEntry(new ZipEntry(module.relativize(file).toString()));
                jar.write(bytes);
            }
        }
    }
}
