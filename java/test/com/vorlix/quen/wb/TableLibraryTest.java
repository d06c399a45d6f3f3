package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.lang.reflect.Constructor;
import java.lang.reflect.Executable;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.lang.reflect.Parameter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.concurrent.CountDownLatch;
import java.util.Collections;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Opening: what a table library tells, what is refused and why; and nulls, at every door. */
class TableLibraryTest {
    private static final String APPID = new String(TestTables.APPID);
    private static final String CALLER = new String(TestTables.CALLER);

    static {
        TestTables.load();
    }

    private static Credentials credentials() {
        return Credentials.fromAccessKey(TestTables.AK, APPID, CALLER);
    }

    @Test
    void tellsWhatIsInIt() throws Exception {
        TableLibrary library = TableLibrary.open("jvm", 1, credentials());
        assertEquals(Arrays.asList("sm", "k128", "k192", "k256"), library.keyIds());
        assertEquals(APPID, library.appId());
        assertEquals(CALLER, library.whitelist());
        assertEquals("SM4 key sm of libwb_tables_jvm_1.so", library.key("sm").toString());
        assertSame(library.key("k128"), library.key("k128"));
        Credentials others = Credentials.fromAccessKey(TestTables.AK, APPID, "anybody");
        assertEquals("", TableLibrary.open("open", 1, others).whitelist());
        assertThrows(UnsupportedOperationException.class, () -> library.keyIds().remove(0));
    }

    @ParameterizedTest
    @CsvSource({
        "jvm, 1, jvm access ke, com.example.jvm, com.example.jvm.tests, Authorization, access key",
        "jvm, 1, jvm access key, com.example.jvn, com.example.jvm.tests, Authorization, token.*application id",
        "jvm, 1, jvm access key, com.example.jvm, com.example.other, Authorization, 'whitelist.*\"com.example.other\"'",
        "jvm, 9, jvm access key, com.example.jvm, com.example.jvm.tests, TableLibrary, libwb_tables_jvm_9.so",
        "nobody, 1, jvm access key, com.example.jvm, x, TableLibrary, ABI: .* Missing: libwb_tables_nobody_1.so. S",
        "../jvm, 1, jvm access key, com.example.jvm, com.example.jvm.tests, TableLibrary, no white-box id",
        "'', 1, jvm access key, com.example.jvm, com.example.jvm.tests, TableLibrary, no white-box id"})
    void refusesWithTheReason(String wbid, int version, String ak, String appId, String caller, String type,
            String message) {
        Credentials credentials = Credentials.fromAccessKey(TestTables.bytes(ak), appId, caller);
        assertRefused(type, message, wbid, version, credentials);
        byte[] token = TestTables.token(TestTables.WBID);
        if (message.startsWith("token")) {
            assertRefused(type, message, wbid, version, Credentials.fromToken(TestTables.random(32, 1), caller));
        } else if (version == 9) {
            assertRefused(type, message, wbid, version, Credentials.fromToken(token, caller));
        }
    }

    private static void assertRefused(String type, String message, String wbid, int version, Credentials credentials) {
        WbkitException e = assertThrows(WbkitException.class, () -> TableLibrary.open(wbid, version, credentials));
        assertEquals(type + "Exception", e.getClass().getSimpleName());
        assertTrue(e.getMessage().matches("(?s).*" + message + ".*"), e.getMessage());
        assertFalse(e.toString().matches("(?s).*(jvm access|jvm test secret).*"), "a secret in " + e);
    }

    @Test
    void unknownKeysAreToldWithThoseThatThereAre() throws Exception {
        TableLibrary library = TestTables.open(TestTables.PLAIN);
        for (String id : new String[] {"k129", "", "k128,"}) {
            UnknownKeyException e = assertThrows(UnknownKeyException.class, () -> library.key(id));
            assertTrue(e.getMessage().contains("\"" + id + "\"") && e.getMessage().contains("[sm, k128, k192, k256]"));
        }
    }

    @Test
    void filesThatAreNoSuchTableLibraryAreRefused(@TempDir Path folder) throws Exception {
        Path tables = Paths.get(System.getProperty("wbkit.tables"));
        byte[] second = Files.readAllBytes(tables.resolve("libwb_tables_jvm_2.so"));
        String foreign = new String(second, StandardCharsets.ISO_8859_1) // its name has an e with an acute accent
                .replace("libwb_tables_jvm_2.so", "libwb_tables_j\u00c3\u00a9_2.so");
        String beginnings = String.join("", Collections.nCopies(100_000, "libwb_tables_")); // takes no endless time
        Path renamed = Files.write(folder.resolve("libwb_tables_jvm_7.so"),
                (foreign + beginnings + '\0').getBytes(StandardCharsets.ISO_8859_1));
        Path damaged = Files.write(folder.resolve("libwb_tables_jvm_6.so"), new byte[1000]);
        Path badName = Files.copy(damaged, folder.resolve("tables.so"));
        Path[] files = {folder.resolve("libwb_tables_jvm_5.so"), damaged, badName};
        String[] messages = {"no file", "damaged", "libwb_tables_WBID_VERSION.so"};
        for (int i = 0; i < files.length; i++) {
            Path file = files[i];
            TableLibraryException e = assertThrows(TableLibraryException.class, () -> TableLibrary.load(file));
            assertTrue(e.getMessage().contains(messages[i]), e.getMessage());
        }
        TableLibrary.load(renamed);
        assertRefused("TableLibrary", "built as libwb_tables_j\u00e9_2.so", "jvm", 7, credentials());
    }

    @Test
    void destroyedCredentialsEndEverything() throws Exception {
        byte[] token = TestTables.token(TestTables.WBID);
        for (Credentials credentials : new Credentials[] {credentials(), Credentials.fromToken(token, CALLER)}) {
            assertEquals("Credentials", credentials.toString());
            TableLibrary library = TableLibrary.open("jvm", 1, credentials);
            WhiteboxKey key = library.key("k256");
            Arrays.fill(token, (byte) 0); // was copied
            key.sign(token);
            assertFalse(key.isDestroyed());
            byte[] ours = credentials.tokenFor(TableName.of("jvm", 1));
            credentials.destroy();
            assertTrue(credentials.isDestroyed() && key.isDestroyed());
            assertArrayEquals(new byte[32], ours);
            assertThrows(IllegalStateException.class, () -> key.sign(ours));
            assertThrows(IllegalStateException.class, library::whitelist);
            assertThrows(IllegalStateException.class, () -> TableLibrary.open("jvm", 1, credentials));
        }
    }

    /** A native gives its arrays back as it took them, so it could write the token where it was wiped. */
    @Test
    void destructionDuringACallIsNotUndone() throws Exception {
        Credentials credentials = credentials();
        WhiteboxKey key = TableLibrary.open("jvm", 1, credentials).key("k256");
        byte[] ours = credentials.tokenFor(TableName.of("jvm", 1));
        CountDownLatch begun = new CountDownLatch(1);
        Thread user = new Thread(() -> key.access().present(token -> {
            byte[] taken = token.clone();
            begun.countDown();
            while (!credentials.isDestroyed() || !Arrays.equals(token, new byte[32])) {
                Thread.yield();
            }
            System.arraycopy(taken, 0, token, 0, taken.length);
            return taken;
        }));
        user.start();
        begun.await();
        credentials.destroy();
        user.join();
        assertArrayEquals(new byte[32], ours);
    }

    @Test
    void theNewestVersionEncryptsAndEachDecryptsItsOwn() throws Exception {
        TableLibraries libraries = TableLibraries.open("jvm", credentials(), 2, 1);
        assertEquals("[1, 2]", libraries.versions().toString());
        assertEquals(2, libraries.encryptionKey("k256").version());
        assertEquals(1, libraries.decryptionKey("k256", 1).version());
        TableLibraryException e = assertThrows(TableLibraryException.class, () -> libraries.decryptionKey("k256", 3));
        assertTrue(e.getMessage().contains("Version 3") && e.getMessage().contains("[1, 2]"), e.getMessage());
        TableLibrary one = TestTables.open(1);
        TableLibrary other = TableLibrary.open("open", 1, credentials());
        for (TableLibrary[] wrong : new TableLibrary[][] {{}, {one, one}, {one, other}}) {
            assertThrows(IllegalArgumentException.class, () -> new TableLibraries(wrong));
        }
    }

    @Test
    void credentialsThatCannotBeRightAreRefused() {
        for (int length : new int[] {0, 31, 32, 33}) { // of the right length, but what a native that failed answers
            assertThrows(IllegalArgumentException.class, () -> Credentials.fromToken(new byte[length], CALLER));
        }
        for (String caller : new String[] {"", "\0", CALLER + "\0"}) {
            assertThrows(IllegalArgumentException.class, () -> Credentials.fromAccessKey(TestTables.AK, APPID, caller));
        }
    }

    /** Every public method and constructor with a null for each of its parameters in turn. */
    @Test
    void nullsAreRefusedByName() throws Exception {
        TableLibrary library = TestTables.open(1);
        Object[] values = {library, library.key("k256"), new TableLibraries(library), credentials(), "text",
            new byte[16], StreamMode.CTR, Padding.NONE, Paths.get("file"), new int[] {1}, 1,
            new TableLibrary[] {library}, new ByteArrayOutputStream(), new ByteArrayInputStream(new byte[100]),
            new WhiteboxOutputStream(new ByteArrayOutputStream(), library.key("k256"), StreamMode.CTR, Padding.NONE,
                    new byte[16]),
            new WhiteboxInputStream(new ByteArrayInputStream(new byte[1]), library.key("k256"), StreamMode.CTR,
                    Padding.NONE, new byte[16])};
        int checked = 0;
        for (Class<?> type : new Class<?>[] {Credentials.class, TableLibrary.class, TableLibraries.class,
            WhiteboxKey.class, WbkitLoader.class, WhiteboxInputStream.class, WhiteboxOutputStream.class,
            SegmentedInputStream.class, SegmentedOutputStream.class, DecryptingInputStream.class,
            EncryptingOutputStream.class}) {
            List<Executable> doors = new ArrayList<>(Arrays.asList(type.getDeclaredMethods()));
            Collections.addAll(doors, type.getDeclaredConstructors());
            for (Executable door : doors) {
                boolean bridge = door.isSynthetic(); // to a method of one of the last two
                if (Modifier.isPublic(door.getModifiers()) && !bridge && !door.getName().equals("equals")) {
                    checked += checkNulls(door, values);
                }
            }
        }
        assertTrue(checked > 60, checked + " parameters");
    }

    private static int checkNulls(Executable door, Object[] values) throws Exception {
        Parameter[] parameters = door.getParameters();
        int checked = 0;
        for (int i = 0; i < parameters.length; i++) {
            if (parameters[i].getType().isPrimitive()) {
                continue;
            }
            Object[] arguments = Arrays.stream(parameters).map(p -> valueFor(p, values)).toArray();
            arguments[i] = null;
            Throwable thrown = assertThrows(ReflectiveOperationException.class, () -> {
                if (door instanceof Method) {
                    ((Method) door).invoke(valueOf(door.getDeclaringClass(), values), arguments);
                } else {
                    ((Constructor<?>) door).newInstance(arguments);
                }
            }, door.toString()).getCause();
            String expected = "java.lang.NullPointerException: " + parameters[i].getName();
            assertEquals(expected, thrown.toString(), door.toString());
            checked++;
        }
        return checked;
    }

    private static Object valueFor(Parameter parameter, Object[] values) {
        return parameter.getType() == byte[].class && parameter.getName().equals("token") ? TestTables.random(32, 1)
                : parameter.getType() == byte[].class && parameter.getName().equals("nonce") ? new byte[12]
                : parameter.getType() == int.class ? (Object) 1 : valueOf(parameter.getType(), values);
    }

    private static Object valueOf(Class<?> type, Object[] values) {
        return Arrays.stream(values).filter(type::isInstance).findFirst().orElse(null);
    }
}
