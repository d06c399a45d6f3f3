package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.vorlix.quen.wb.TestTables.Key;
import java.io.ByteArrayOutputStream;
import java.nio.ByteBuffer;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import javax.crypto.Cipher;
import javax.crypto.ShortBufferException;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

/** What every cipher of the provider has to do, in all the ways in which texts come and go. */
class ProviderCipherTest {
    private static final QuenProvider PROVIDER = new QuenProvider();
    /** As a counter, it overflows behind its first block. */
    private static final byte[] IV = TestTables.unhex("ffffffffffffffffffffffffffffffff");
    private static final byte[] AAD = TestTables.random(21, 2);

    /** A cipher with a key, in one direction. */
    private static final class Case {
        final String name;
        final Key clear;
        final WhiteboxKey key;
        final int direction;
        final boolean gcm;
        final boolean randomFiller;

        Case(String name, Key clear, int direction) {
            this.name = name;
            this.clear = clear;
            this.direction = direction;
            this.gcm = name.contains("GCM");
            this.randomFiller = name.contains("ISO") && direction == Cipher.ENCRYPT_MODE;
            this.key = TestTables.key(clear);
        }

        AlgorithmParameterSpec parameters() {
            return gcm ? new GCMParameterSpec(128, IV, 2, 12) : new IvParameterSpec(IV);
        }

        Cipher started() throws GeneralSecurityException {
            Cipher cipher = Cipher.getInstance(name, PROVIDER);
            cipher.init(direction, key, parameters());
            return withAad(cipher);
        }

        Cipher withAad(Cipher cipher) {
            if (gcm) {
                cipher.updateAAD(AAD, 0, 8);
                cipher.updateAAD(ByteBuffer.wrap(AAD, 8, AAD.length - 8));
            }
            return cipher;
        }

        /** A text of so many bytes, encrypted with the clear key. */
        byte[] ciphertext(int length) {
            byte[] plain = plain(length);
            if (gcm) {
                return ClearKey.gcmEncrypt(clear, ((GCMParameterSpec) parameters()).getIV(), AAD, plain);
            }
            if (!name.endsWith("/NOPADDING")) {
                plain = Arrays.copyOf(plain, length / 16 * 16 + 16);
                Arrays.fill(plain, length, plain.length, (byte) (plain.length - length));
            }
            return ClearKey.encrypt(name.replaceAll("(.*)/(.*)/.*", "$1_$2"), clear, IV, plain);
        }

        byte[] input(int length) {
            return direction == Cipher.ENCRYPT_MODE ? plain(length) : ciphertext(length);
        }

        byte[] output(int length) {
            return direction == Cipher.ENCRYPT_MODE ? ciphertext(length) : plain(length);
        }

        void check(byte[] expected, byte[] actual, String what) throws GeneralSecurityException {
            byte[] comparable = actual;
            if (randomFiller) {
                StreamMode mode = StreamMode.valueOf(name.split("/")[1]);
                byte[] plain = key.decrypt(mode, Padding.ISO10126, IV, actual);
                comparable = key.encrypt(mode, Padding.PKCS5, IV, plain);
            }
            assertArrayEquals(expected, comparable, what);
        }

        @Override
        public String toString() {
            return (direction == Cipher.ENCRYPT_MODE ? "encrypt " : "decrypt ") + name + " " + clear;
        }
    }

    private static byte[] plain(int length) {
        return TestTables.random(length, length);
    }

    static List<Case> everyKey() {
        List<Case> cases = new ArrayList<>();
        PROVIDER.getServices().stream().filter(service -> service.getType().equals("Cipher")).forEach(service -> {
            for (String padding : service.getAttribute("SupportedPaddings").split("\\|")) {
                String name = service.getAlgorithm() + "/" + padding;
                for (Key key : Key.of(name)) {
                    cases.add(new Case(name, key, Cipher.ENCRYPT_MODE));
                    cases.add(new Case(name, key, Cipher.DECRYPT_MODE));
                }
            }
        });
        assertEquals(2 * (9 + 3 * 9 + 3), cases.size());
        return cases;
    }

    static List<Case> cases() {
        List<Case> cases = everyKey();
        cases.removeIf(each -> each.clear == Key.AES_128 || each.clear == Key.AES_192);
        return cases;
    }

    @ParameterizedTest
    @MethodSource("everyKey")
    void agreesWithTheClearKey(Case each) throws Exception {
        for (int length : new int[] {0, 1, 15, 16, 17, 300, StreamEngine.PIECE + 9}) {
            each.check(each.output(length), each.started().doFinal(each.input(length)), length + " bytes");
        }
    }

    @ParameterizedTest
    @MethodSource("cases")
    void takesEveryChunking(Case each) throws Exception {
        byte[] in = each.input(300);
        byte[] expected = each.output(300);
        Cipher cipher = each.started();
        for (int chunk = 1; chunk <= 33; chunk++) {
            ByteArrayOutputStream out = new ByteArrayOutputStream();
            for (int done = 0; done < in.length; done += chunk) {
                int size = Math.min(chunk, in.length - done);
                int promised = cipher.getOutputSize(size);
                byte[] part = cipher.update(in, done, size);
                assertTrue(part.length <= promised, "getOutputSize");
                out.write(part);
            }
            int promised = cipher.getOutputSize(0);
            byte[] end = cipher.doFinal();
            assertTrue(end.length <= promised, "getOutputSize at the end");
            out.write(end);
            each.check(expected, out.toByteArray(), "chunks of " + chunk);
            // what follows starts from the initialisation again
            cipher = each.gcm ? each.started() : cipher;
        }
    }

    private interface Call {
        int into(byte[] room) throws GeneralSecurityException;
    }

    /** Repeats a call with more and more room until it succeeds, as it must when its result fits, and loses nothing. */
    private static byte[] withLeastRoom(Call call) throws GeneralSecurityException {
        for (int size = 0;; size++) {
            byte[] room = new byte[size];
            try {
                assertEquals(size, call.into(room));
                return room;
            } catch (ShortBufferException e) {
                assertTrue(size < 200, "no room is enough");
            }
        }
    }

    @ParameterizedTest
    @MethodSource("cases")
    void needsNoMoreRoomThanTheResult(Case each) throws Exception {
        byte[] in = each.input(100);
        byte[] expected = each.output(100);
        Cipher cipher = each.started();
        byte[] begin = cipher.update(in, 0, 21);
        byte[] middle = withLeastRoom(room -> cipher.update(in, 21, 40, room, 0));
        byte[] end = withLeastRoom(room -> cipher.doFinal(in, 61, in.length - 61, room, 0));
        each.check(expected, TestTables.concat(TestTables.concat(begin, middle), end), "arrays");

        ByteBuffer heap = ByteBuffer.wrap(TestTables.concat(new byte[3], in), 3, in.length).slice();
        ByteBuffer direct = ByteBuffer.allocateDirect(in.length);
        direct.put(in).flip();
        for (ByteBuffer source : new ByteBuffer[] {heap.asReadOnlyBuffer(), heap, direct}) {
            Cipher other = each.started();
            begin = withLeastRoom(room -> other.update((ByteBuffer) source.limit(50), ByteBuffer.wrap(room)));
            end = withLeastRoom(room -> {
                ByteBuffer out = ByteBuffer.allocateDirect(room.length);
                int size = other.doFinal((ByteBuffer) source.limit(in.length), out);
                out.flip();
                out.get(room);
                return size;
            });
            each.check(expected, TestTables.concat(begin, end), source.toString());
        }
    }

    @ParameterizedTest
    @MethodSource("cases")
    void worksInPlace(Case each) throws Exception {
        for (int shift : new int[] {-17, -16, -1, 0, 1, 16, 40}) {
            int length = shift == 1 ? StreamEngine.PIECE + 300 : 1000;
            byte[] in = each.input(length);
            byte[] expected = each.output(length);
            byte[] array = new byte[length + 200];
            System.arraycopy(in, 0, array, 64, in.length);
            ByteBuffer direct = ByteBuffer.allocateDirect(array.length);
            direct.put(array).position(64 + shift);
            ByteBuffer source = direct.duplicate();
            source.position(64).limit(64 + in.length);
            byte[] whole = array.clone();

            int size = each.started().doFinal(whole, 64, in.length, whole, 64 + shift);
            each.check(expected, Arrays.copyOfRange(whole, 64 + shift, 64 + shift + size), "shifted by " + shift);
            Cipher cipher = each.started();
            size = cipher.update(array, 64, in.length, array, 64 + shift);
            byte[] begin = Arrays.copyOfRange(array, 64 + shift, 64 + shift + size);
            each.check(expected, TestTables.concat(begin, cipher.doFinal()), "update shifted by " + shift);
            byte[] output = new byte[each.started().doFinal(source, direct)];
            direct.position(64 + shift);
            direct.get(output);
            each.check(expected, output, "buffers shifted by " + shift);
        }
    }

    @ParameterizedTest
    @MethodSource("cases")
    void tellsItsParameters(Case each) throws Exception {
        Cipher drawn = Cipher.getInstance(each.name, PROVIDER);
        drawn.init(Cipher.ENCRYPT_MODE, each.key);
        byte[] iv = drawn.getIV();
        assertEquals(each.gcm ? 12 : 16, iv.length);
        byte[] ciphertext = drawn.doFinal(IV);
        AlgorithmParameters told = drawn.getParameters();
        AlgorithmParameters read = AlgorithmParameters.getInstance(told.getAlgorithm(), told.getProvider());
        read.init(told.getEncoded());
        AlgorithmParameterSpec own = each.gcm ? new GCMParameterSpec(128, iv) : new IvParameterSpec(iv);
        drawn.init(Cipher.DECRYPT_MODE, each.key, own);
        assertArrayEquals(IV, drawn.doFinal(ciphertext));
        for (AlgorithmParameters parameters : new AlgorithmParameters[] {told, read}) {
            drawn.init(Cipher.DECRYPT_MODE, each.key, parameters);
            assertArrayEquals(iv, drawn.getIV());
            assertArrayEquals(IV, drawn.doFinal(ciphertext));
        }
        drawn.init(Cipher.ENCRYPT_MODE, each.key, (SecureRandom) null);
        assertFalse(Arrays.equals(iv, drawn.getIV()), "an iv of its own for each");
        assertEquals(16, drawn.getBlockSize());
    }
}
