package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.InputStream;
import java.io.OutputStream;
import java.lang.management.ManagementFactory;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;
import javax.crypto.Cipher;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.management.ObjectName;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

/** The memory of a virtual machine after its program has wiped the arrays that it passed and got: no text is in it. */
class SecretsTest {
    private static final byte[] IV = TestTables.random(16, 1);
    private static final int SIZE = 100;

    @Test
    void noTextStaysBehind(@TempDir Path folder) throws Exception {
        Path dump = folder.resolve("heap.hprof");
        OtherMachine.run(Program.class, 64, "", dump.toString());
        String heap = new String(Files.readAllBytes(dump), StandardCharsets.ISO_8859_1);
        assertTrue(heap.contains(new String(IV, StandardCharsets.ISO_8859_1)), "what is not secret is there");
        for (Program program : Program.values()) {
            for (int block = 0; block + 16 <= SIZE; block += 16) {
                String needle = new String(program.text(), block, 16, StandardCharsets.ISO_8859_1);
                assertFalse(heap.contains(needle), program + " left what begins at " + block);
            }
        }
    }

    /** Takes a text, also filled up to whole blocks, and wipes what comes of its decryption. */
    private interface Operation {
        void run(WhiteboxKey key, byte[] text, byte[] padded) throws Exception;
    }

    /** Runs all operations, then writes all of its heap, garbage included, into the file that its argument names. */
    enum Program {
        KEYS((key, text, padded) -> wipe(key.decrypt(StreamMode.CTR, Padding.PKCS5, IV,
                key.encrypt(StreamMode.CTR, Padding.PKCS5, IV, text)))),
        BAD_PADDING((key, text, padded) -> fails(() -> key.decrypt(StreamMode.CTR, Padding.PKCS5, IV,
                key.encrypt(StreamMode.CTR, Padding.NONE, IV, padded)))),
        MESSAGES((key, text, padded) -> wipe(key.decryptMessage(StreamMode.CFB,
                key.encryptMessage(StreamMode.CFB, Padding.ISO10126, text, IV)))),
        STREAMS((key, text, padded) -> {
            ByteArrayOutputStream file = new ByteArrayOutputStream();
            try (OutputStream out = new WhiteboxOutputStream(file, key, StreamMode.OFB, Padding.PKCS5, IV)) {
                out.write(text);
            }
            InputStream below = new ByteArrayInputStream(file.toByteArray());
            readAndWipe(new WhiteboxInputStream(below, key, StreamMode.OFB, Padding.PKCS5, IV));
        }),
        SEGMENTS((key, text, padded) -> {
            ByteArrayOutputStream file = new ByteArrayOutputStream();
            try (OutputStream out = new SegmentedOutputStream(file, key, IV)) {
                out.write(text);
            }
            readAndWipe(new SegmentedInputStream(new ByteArrayInputStream(file.toByteArray()), key, IV));
        }),
        CIPHER((key, text, padded) -> {
            AlgorithmParameterSpec iv = new IvParameterSpec(IV);
            byte[] ciphertext = cipher("CFB/PKCS5Padding", Cipher.ENCRYPT_MODE, key, iv).doFinal(text);
            Cipher cipher = cipher("CFB/PKCS5Padding", Cipher.DECRYPT_MODE, key, iv);
            wipe(cipher.update(ciphertext, 0, 80)); // it holds the last block back
            wipe(cipher.doFinal(ciphertext, 80, ciphertext.length - 80));
            fails(() -> cipher.doFinal(ciphertext, 0, 96));
            ByteBuffer out = ByteBuffer.allocateDirect(SIZE);
            cipher.doFinal(ByteBuffer.wrap(ciphertext), out);
        }),
        SHORT_TAGS((key, text, padded) -> {
            AlgorithmParameterSpec nonce = new GCMParameterSpec(96, IV);
            byte[] sealed = cipher("GCM/NoPadding", Cipher.ENCRYPT_MODE, key, nonce).doFinal(text);
            Cipher cipher = cipher("GCM/NoPadding", Cipher.DECRYPT_MODE, key, nonce);
            cipher.update(sealed, 0, 10);
            wipe(cipher.doFinal(sealed, 10, sealed.length - 10));
            fails(() -> cipher.doFinal(TestTables.flip(sealed, 8 * sealed.length - 1)));
        });

        private final Operation operation;

        Program(Operation operation) {
            this.operation = operation;
        }

        private byte[] text() {
            return TestTables.random(SIZE, 1000 + ordinal());
        }

        public static void main(String[] args) throws Exception {
            WhiteboxKey key = TestTables.key(TestTables.Key.AES_256);
            for (Program program : values()) {
                byte[] text = program.text();
                byte[] padded = Arrays.copyOf(text, 112);
                program.operation.run(key, text, padded);
                wipe(text);
                wipe(padded);
            }
            ManagementFactory.getPlatformMBeanServer().invoke(
                    new ObjectName("com.sun.management:type=HotSpotDiagnostic"), "dumpHeap",
                    new Object[] {args[0], false}, new String[] {"java.lang.String", "boolean"});
        }

        private static Cipher cipher(String name, int direction, WhiteboxKey key, AlgorithmParameterSpec parameters)
                throws Exception {
            Cipher cipher = Cipher.getInstance("AES/" + name, new QuenProvider());
            cipher.init(direction, key, parameters);
            return cipher;
        }

        private static void wipe(byte[] array) {
            Arrays.fill(array, (byte) 0);
        }

        private static void readAndWipe(InputStream in) throws Exception {
            byte[] text = new byte[SIZE];
            try (InputStream closed = in) {
                for (int length = 0; length < SIZE;) {
                    length += closed.read(text, length, SIZE - length);
                }
            }
            wipe(text);
        }

        private static void fails(Executable call) {
            assertThrows(GeneralSecurityException.class, call);
        }
    }
}
