package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The ways to load the library, each in a virtual machine of its own, and what is said when it fails. */
class LoaderTest {
    private static final Path LIBRARY = Paths.get(System.getProperty("wbkit.library")).toAbsolutePath();
    private static final String FOLDER = LIBRARY.getParent().toString();

    @TempDir
    Path folder;

    /** What the load hook of another library may initialise: code that uses ours. */
    static final class Foreign {
        static final int BYTES = WbkitAndr.hmac(new byte[1], new byte[1]).length;
    }

    /** Runs in the other virtual machine: uses the natives, after loading as is said. */
    public static final class Probe {
        private static final byte[] BLOCK = new byte[16];

        public static void main(String[] args) throws Exception {
            if (args[0].equals("all threads")) {
                System.out.println(loadInAllThreads(args[1], args[2]));
                return;
            }
            for (int attempt = 0; attempt < 2; attempt++) { // a failure is told a second time
                try {
                    if (args[0].equals("application")) {
                        System.load(args[1]);
                    } else if (args[0].equals("loader")) {
                        WbkitLoader.load(Paths.get(args[1]));
                    } else if (args[0].equals("nobody")) {
                        WbkitLoader.load();
                    } else if (args[0].equals("hook")) { // which has initialised the class without natives
                        System.load(args[1]);
                        WbkitLoader.load();
                    }
                    System.out.println(WbkitAndr.hmac(new byte[1], new byte[1]).length + " bytes");
                } catch (UnsatisfiedLinkError e) {
                    System.out.println(e.getMessage());
                }
            }
            if (args[0].equals("heap")) {
                encrypt(100 << 20, args[1]);
            }
        }

        /** What they encrypt with either table library. */
        private static Set<String> loadInAllThreads(String library, String tables) throws Exception {
            CyclicBarrier start = new CyclicBarrier(ManyCallsTest.THREADS);
            List<Callable<String>> work = new ArrayList<>();
            for (int thread = 0; thread < ManyCallsTest.THREADS; thread++) {
                int version = TestTables.VERSIONS[thread % 2];
                work.add(() -> {
                    start.await();
                    WbkitLoader.load(Paths.get(library));
                    WhiteboxKey key = open(tables, version).key("sm"); // which logs a line on the way
                    return Arrays.toString(key.encrypt(StreamMode.CTR, Padding.NONE, BLOCK, BLOCK));
                });
            }
            ExecutorService pool = Executors.newFixedThreadPool(ManyCallsTest.THREADS);
            List<Future<String>> results = pool.invokeAll(work);
            pool.shutdown();
            Set<String> encrypted = new TreeSet<>();
            for (Future<String> result : results) {
                encrypted.add(result.get());
            }
            return encrypted;
        }

        private static TableLibrary open(String tables, int version) throws Exception {
            TableLibrary.load(Paths.get(tables, "libwb_tables_jvm_" + version + ".so"));
            Credentials credentials = Credentials.fromToken(TestTables.token(TestTables.WBID), "com.example.jvm.tests");
            return TableLibrary.open("jvm", version, credentials);
        }

        private static void encrypt(int length, String tables) throws Exception {
            WhiteboxKey key = open(tables, TestTables.ENCODED).key("k128");
            byte[] piece = new byte[10_000];
            long written = 0;
            try (InputStream zeros = Files.newInputStream(Paths.get("/dev/zero"));
                    InputStream in = new WhiteboxInputStream(zeros, key, StreamMode.CTR, Padding.PKCS5, new byte[16]);
                    WhiteboxOutputStream out = new WhiteboxOutputStream(new ByteArrayOutputStream(0) {
                        @Override
                        public synchronized void write(byte[] b, int off, int len) {}
                    }, key, StreamMode.CTR, Padding.PKCS5, new byte[16])) {
                for (; written < length; written += piece.length) {
                    out.write(piece, 0, in.read(piece) > 0 ? piece.length : 0);
                }
            }
            System.out.println("done");
        }
    }

    private static String run(String libraryPath, String... args) throws Exception {
        return OtherMachine.run(Probe.class, 8, libraryPath, args);
    }

    @Test
    void everyWayToLoadWorks() throws Exception {
        String twice = "32 bytes\n32 bytes\n";
        for (String way : new String[] {"nobody", "native first"}) {
            assertEquals(twice, run("/nowhere" + File.pathSeparator + FOLDER, way), way);
        }
        for (String way : new String[] {"application", "loader"}) {
            assertEquals(twice, run("/nowhere", way, LIBRARY.toString()), way);
            assertEquals(twice, run(FOLDER, way, LIBRARY.toString()), way + ", with a copy that it would find");
        }
        for (Class<?> initialised : new Class<?>[] {Foreign.class, WbkitAndr.class}) {
            String hook = System.getProperty("wbkit.hook." + initialised.getSimpleName());
            assertEquals(twice, run(FOLDER, "hook", hook), hook);
        }
    }

    @Test
    void allThreadsMayBeTheFirst() throws Exception {
        byte[] encrypted = ClearKey.encrypt("SM4_CTR", TestTables.Key.SM4, Probe.BLOCK, Probe.BLOCK);
        assertEquals("[" + Arrays.toString(encrypted) + "]\n",
                run("/nowhere", "all threads", LIBRARY.toString(), System.getProperty("wbkit.tables")));
    }

    @Test
    void hundredMegabytesPassThroughEightOfHeap() throws Exception {
        assertTrue(run(FOLDER, "heap", System.getProperty("wbkit.tables")).endsWith("done\n"));
    }

    @Test
    void failuresTellWhatIsMissingAndWhereItWasSearched() throws Exception {
        String abi = "ABI: " + LoadFailure.abi() + " \\(os.arch " + System.getProperty("os.arch") + "\\)\\. ";
        assertSaidTwice(run("/one:/two", "nobody"), "libquen-wbkit.so could not be loaded. " + abi
                + "Missing: libquen-wbkit.so. Searched: /one, /two. .*-Djava.library.path.*WbkitLoader.load\\(Path\\)");
        Path absent = folder.resolve("libquen-wbkit.so");
        assertSaidTwice(run("", "loader", absent.toString()),
                absent + " could .*Missing: " + absent + ". Searched: that path");
        Files.copy(LIBRARY, absent);
        assertSaidTwice(run("", "loader", absent.toString()), abi + "Missing: libwbkit-log.so. .*beside the library");
        byte[] foreign = Files.readAllBytes(LIBRARY);
        foreign[4] = (byte) (foreign[4] == 1 ? 2 : 1); // the class: 32 or 64 bits
        Files.write(absent, foreign);
        assertSaidTwice(run(folder.toString(), "nobody"), abi + "Searched: .*for another ABI");
        Files.write(absent, new byte[5000]);
        assertSaidTwice(run(folder.toString(), "nobody"), abi + "Searched: .*damaged");
    }

    private static void assertSaidTwice(String output, String message) {
        String[] lines = output.split("\n");
        assertTrue(lines[0].matches("(?s).*" + message + ".*"), output);
        assertEquals(lines[0], lines[lines.length / 2], "the second time");
    }

    /** What loaders say that do not run here. */
    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "dalvik.system.PathClassLoader[DexPathList[[],nativeLibraryDirectories=[/data/lib]]] couldn't find \"libx.so\""
            + "|MISSING|Missing: libx.so. ",
        "dlopen failed: library \"libdep.so\" not found: needed by libx.so|MISSING_DEPENDENCY|Missing: libdep.so. ",
        "dlopen failed: \"/data/libx.so\" is 32-bit instead of 64-bit|OTHER_ABI|another ABI",
        "dlopen failed: \"/data/libx.so\" has unexpected e_machine: 40 (EM_ARM)|OTHER_ABI|another ABI",
        "dlopen failed: \"/data/libx.so\" program alignment (4096) cannot be smaller than system page size (16384)"
            + "|PAGE_SIZE|max-page-size=16384",
        "dlopen failed: cannot locate symbol \"getrandom\" referenced by \"/data/libx.so\"|SYMBOL"
            + "|Missing function: getrandom. ",
        "dlopen failed: library \"libx.so\" not found|MISSING|Missing: libx.so. ",
        "libx.so: cannot open shared object file: No such file or directory|MISSING|Missing: libx.so. ",
        "dlopen failed: \"/data/libx.so\" .dynamic section header was not found|NOT_A_LIBRARY|damaged",
        "dlopen failed: \"/data/libx.so\" has bad ELF magic: 00000000|NOT_A_LIBRARY|damaged",
        "Shared library \"/data/libx.so\" already opened by ClassLoader 0x1|OTHER_LOADER|class loader",
        "JNI_ERR returned from JNI_OnLoad in \"/data/libx.so\"|SHRUNK|shrinker",
        "anything else|OTHER|The loader said: java.lang.UnsatisfiedLinkError: anything else"})
    void messagesOfOtherLoadersAreUnderstood(String said, LoadFailure failure, String told) {
        UnsatisfiedLinkError error = new UnsatisfiedLinkError(said);
        assertEquals(failure, LoadFailure.of(error, "libx.so"));
        String message = LoadFailure.describe(error, "libx.so", "load(Path)");
        assertTrue(message.contains(told) && message.contains("ABI: ") && message.contains("Searched: "), message);
    }
}
