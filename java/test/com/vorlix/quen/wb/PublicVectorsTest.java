package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.ByteArrayOutputStream;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.security.InvalidAlgorithmParameterException;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;
import javax.crypto.AEADBadTagException;
import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** All public vectors through the provider, but those of GCM with SM4, which it does not have. */
@Tag("vectors")
class PublicVectorsTest {
    private static final QuenProvider PROVIDER = new QuenProvider();
    /** Shorter tags are refused. */
    private static final int SHORTEST_TAG = 96;

    @TempDir
    static Path folder;

    /** The bytes of an update, another number for each case. */
    private int chunk;

    @BeforeAll
    static void load() {
        WbkitLoader.load(Paths.get(System.getProperty("wbkit.library")));
    }

    @ParameterizedTest
    @ValueSource(strings = {"aes-cfb", "aes-ofb", "aes-ctr", "sm4-cfb", "sm4-ofb", "sm4-ctr"})
    void streams(String kind) throws Exception {
        FoldedVectors vectors = new FoldedVectors(kind, folder);
        for (VectorCase each : vectors.cases) {
            AlgorithmParameterSpec iv = new IvParameterSpec(each.bytes("iv"));
            Cipher encryption = cipher(kind, Cipher.ENCRYPT_MODE, vectors.key(each), iv);
            checkTwice(encryption, each.bytes("msg"), each.bytes("ct"), each.where);
            Cipher decryption = cipher(kind, Cipher.DECRYPT_MODE, vectors.key(each), iv);
            checkTwice(decryption, each.bytes("ct"), each.bytes("msg"), each.where);
        }
    }

    /** In OFB, a text of zeros becomes the iv encrypted once, twice and so on. */
    @ParameterizedTest
    @CsvSource({"aes-block, msg, ct", "aes-block-mct, in, out", "sm4-block, msg, ct", "sm4-iterate, msg, ct"})
    void blocks(String kind, String in, String out) throws Exception {
        FoldedVectors vectors = new FoldedVectors(kind, folder);
        for (VectorCase each : vectors.cases) {
            if (each.has("op") && !each.word("op").equals("encrypt")) {
                continue; // no mode runs the cipher backwards
            }
            int count = each.has("count") ? Integer.parseInt(each.word("count")) : each.has("op") ? 1000 : 1;
            byte[] blocks = each.bytes(in);
            for (int i = 0; i < blocks.length; i += 16) {
                AlgorithmParameterSpec iv = new IvParameterSpec(blocks, i, 16);
                byte[] powers = cipher(kind.replaceFirst("-.*", "-ofb"), Cipher.ENCRYPT_MODE, vectors.key(each), iv)
                        .doFinal(new byte[16 * count]);
                System.arraycopy(powers, powers.length - 16, blocks, i, 16);
            }
            assertArrayEquals(each.bytes(out), blocks, each.where);
        }
    }

    /** The inner loop of NIST's Monte Carlo tests goes on where its last operation stopped, as updates do. */
    @ParameterizedTest
    @ValueSource(strings = {"aes-cfb-mct", "aes-ofb-mct"})
    void monteCarlo(String kind) throws Exception {
        FoldedVectors vectors = new FoldedVectors(kind, folder);
        for (VectorCase each : vectors.cases) {
            int direction = each.word("op").equals("encrypt") ? Cipher.ENCRYPT_MODE : Cipher.DECRYPT_MODE;
            Cipher cipher = cipher(kind, direction, vectors.key(each), new IvParameterSpec(each.bytes("iv")));
            byte[] before = each.bytes("iv");
            byte[] in = each.bytes("in");
            for (int i = 0; i < 1000; i++) {
                byte[] out = cipher.update(in);
                in = before;
                before = out;
            }
            assertArrayEquals(each.bytes("out"), before, each.where);
        }
    }

    @ParameterizedTest
    @ValueSource(strings = {"aes-gcm", "aes-gcm-wide"})
    void gcm(String kind) throws Exception {
        FoldedVectors vectors = new FoldedVectors(kind, folder);
        for (VectorCase each : vectors.cases) {
            WhiteboxKey key = vectors.key(each);
            byte[] sealed = TestTables.concat(each.bytes("ct"), each.bytes("tag"));
            int bits = 8 * each.bytes("tag").length;
            boolean hasNonce = each.bytes("iv").length != 0;
            boolean isValid = !each.has("result") || each.word("result").equals("valid");
            if (!hasNonce || bits < SHORTEST_TAG) {
                assertThrows(InvalidAlgorithmParameterException.class,
                        () -> gcm(Cipher.DECRYPT_MODE, key, each, bits), each.where);
            } else if (isValid) {
                checkTwice(gcm(Cipher.ENCRYPT_MODE, key, each, bits), gcm(Cipher.ENCRYPT_MODE, key, each, bits),
                        each.bytes("msg"), sealed, each.where);
                Cipher decryption = gcm(Cipher.DECRYPT_MODE, key, each, bits);
                assertArrayEquals(each.bytes("msg"), decryption.doFinal(sealed), each.where);
            } else {
                assertThrows(AEADBadTagException.class,
                        () -> gcm(Cipher.DECRYPT_MODE, key, each, bits).doFinal(sealed), each.where);
            }
            if (hasNonce && bits < SHORTEST_TAG && isValid) { // the beginning of the whole tag
                byte[] whole = gcm(Cipher.ENCRYPT_MODE, key, each, 128).doFinal(each.bytes("msg"));
                assertArrayEquals(sealed, Arrays.copyOf(whole, sealed.length), each.where);
            }
            if (hasNonce && each.has("std_ct")) {
                byte[] standard = TestTables.concat(each.bytes("std_ct"), each.bytes("std_tag"));
                assertArrayEquals(each.bytes("std_ct_opened"),
                        gcm(Cipher.DECRYPT_MODE, key, each, bits).doFinal(standard), each.where);
            }
        }
    }

    @Test
    void hmac() throws Exception {
        FoldedVectors vectors = new FoldedVectors("hmac-sha256", folder);
        for (VectorCase each : vectors.cases) {
            Mac mac = Mac.getInstance("HmacSHA256", PROVIDER);
            mac.init(vectors.key(each));
            byte[] tag = each.bytes("tag");
            boolean same = Arrays.equals(tag, Arrays.copyOf(mac.doFinal(each.bytes("msg")), tag.length));
            assertEquals(each.word("result").equals("valid"), same, each.where);
        }
    }

    private static Cipher cipher(String kind, int direction, WhiteboxKey key, AlgorithmParameterSpec parameters)
            throws Exception {
        String[] words = kind.toUpperCase().split("-");
        Cipher cipher = Cipher.getInstance(words[0] + "/" + words[1] + "/NoPadding", PROVIDER);
        cipher.init(direction, key, parameters);
        return cipher;
    }

    private static Cipher gcm(int direction, WhiteboxKey key, VectorCase each, int bits) throws Exception {
        Cipher cipher = cipher("aes-gcm", direction, key, new GCMParameterSpec(bits, each.bytes("iv")));
        cipher.updateAAD(each.bytes("aad"));
        return cipher;
    }

    private void checkTwice(Cipher cipher, byte[] in, byte[] expected, String where) throws Exception {
        checkTwice(cipher, cipher, in, expected, where); // its end resets it
    }

    /** At once, and in chunks of 1 to 33 bytes. */
    private void checkTwice(Cipher first, Cipher second, byte[] in, byte[] expected, String where) throws Exception {
        assertArrayEquals(expected, first.doFinal(in), where);
        chunk = chunk % 33 + 1;
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        for (int done = 0; done < in.length; done += chunk) {
            out.write(second.update(in, done, Math.min(chunk, in.length - done)));
        }
        out.write(second.doFinal());
        assertArrayEquals(expected, out.toByteArray(), where + " in chunks of " + chunk);
    }
}
