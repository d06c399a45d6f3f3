package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.vorlix.quen.wb.TestTables.Key;
import java.nio.ByteBuffer;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.NoSuchAlgorithmException;
import java.security.ProviderException;
import java.security.Security;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;
import java.util.stream.Stream;
import javax.crypto.AEADBadTagException;
import javax.crypto.BadPaddingException;
import javax.crypto.Cipher;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.Mac;
import javax.crypto.SealedObject;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.SecretKeySpec;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Who gets which key, what is refused, and the rules of GCM and of the MAC. */
class QuenProviderTest {
    private static final int ENCRYPT = Cipher.ENCRYPT_MODE;
    private static final int DECRYPT = Cipher.DECRYPT_MODE;
    private static final QuenProvider PROVIDER = new QuenProvider();
    private static final WhiteboxKey AES = TestTables.key(Key.AES_256);
    private static final WhiteboxKey SM4 = TestTables.key(Key.SM4);
    private static final SecretKeySpec CLEAR = new SecretKeySpec(TestTables.unhex(Key.AES_256.hex), "AES");
    private static final byte[] TEXT = TestTables.random(100, 1);
    private static final byte[] AAD = TestTables.random(30, 2);
    private static final IvParameterSpec IV = new IvParameterSpec(TestTables.random(16, 3));
    private static final GCMParameterSpec NONCE = new GCMParameterSpec(128, TestTables.random(12, 4));
    private static final GCMParameterSpec OTHER = new GCMParameterSpec(128, TestTables.random(12, 5));

    private static Cipher cipher(String name, int direction, java.security.Key key, AlgorithmParameterSpec parameters)
            throws Exception {
        Cipher cipher = Cipher.getInstance(name, PROVIDER);
        cipher.init(direction, key, parameters);
        return cipher;
    }

    private static Cipher gcm(int direction, AlgorithmParameterSpec parameters) throws Exception {
        return cipher("AES/GCM/NoPadding", direction, AES, parameters);
    }

    private static Cipher ctr(int direction, String padding) throws Exception {
        return cipher("AES/CTR/" + padding, direction, AES, IV);
    }

    @AfterEach
    void removeProvider() {
        Security.removeProvider(QuenProvider.NAME);
    }

    @ParameterizedTest
    @ValueSource(ints = {1, 100})
    void keysFindTheirProvider(int position) throws Exception {
        Security.insertProviderAt(PROVIDER, position);
        for (java.security.Key key : new java.security.Key[] {AES, CLEAR}) {
            for (String name : new String[] {"AES/GCM/NoPadding", "aes/ctr/nopadding", "AES/CFB/PKCS5Padding",
                "AES/OFB/ISO10126Padding"}) {
                Cipher cipher = Cipher.getInstance(name);
                cipher.init(ENCRYPT, key);
                assertEquals(key == AES, cipher.getProvider() == PROVIDER, name);
                byte[] ciphertext = cipher.doFinal(TEXT);
                Cipher back = Cipher.getInstance(name);
                back.init(DECRYPT, key == AES ? CLEAR : AES, cipher.getParameters());
                assertArrayEquals(TEXT, back.doFinal(ciphertext), name);
            }
            Mac mac = Mac.getInstance("HmacSHA256");
            mac.init(key);
            assertEquals(key == AES, mac.getProvider() == PROVIDER);
        }
        assertThrows(InvalidKeyException.class, () -> Cipher.getInstance("SM4/CTR/NoPadding").init(ENCRYPT, CLEAR));
        Cipher sm4 = Cipher.getInstance("SM4/CTR/NoPadding");
        sm4.init(ENCRYPT, SM4);
        assertEquals("text", new SealedObject("text", sm4).getObject(SM4));
    }

    static Stream<Arguments> refusals() throws Exception {
        byte[] sealed = gcm(ENCRYPT, NONCE).doFinal(TEXT);
        byte[] zeros = ctr(ENCRYPT, "NoPadding").doFinal(new byte[16]);
        Credentials credentials = Credentials.fromToken(TestTables.token(TestTables.WBID), "com.example.jvm.tests");
        WhiteboxKey destroyed = TableLibrary.open("jvm", 1, credentials).key("k128");
        credentials.destroy();
        WhiteboxKey absent = new WhiteboxKey(AES.access(), Algorithm.AES, "k129");
        WhiteboxKey unsigned = TestTables.key(Key.AES_128);
        return Stream.of(
                refusal("NoSuchAlgorithm", "", () -> Cipher.getInstance("AES/CBC/NoPadding", PROVIDER)),
                refusal("NoSuchAlgorithm", "", () -> Cipher.getInstance("AES", PROVIDER)),
                refusal("NoSuchPadding", "OAEPPadding", () -> Cipher.getInstance("AES/CTR/OAEPPadding", PROVIDER)),
                refusal("NoSuchPadding", "PKCS5", () -> Cipher.getInstance("AES/GCM/PKCS5Padding", PROVIDER)),
                refusal("NoSuchAlgorithm", "", () -> Cipher.getInstance("SM4/GCM/NoPadding", PROVIDER)),
                refusal("InvalidKey", "SecretKeySpec.*TableLibrary",
                        () -> cipher("AES/CTR/NoPadding", ENCRYPT, CLEAR, IV)),
                refusal("InvalidKey", "null", () -> cipher("AES/CTR/NoPadding", ENCRYPT, null, IV)),
                refusal("InvalidKey", "of SM4", () -> cipher("AES/CTR/NoPadding", ENCRYPT, SM4, IV)),
                refusal("InvalidKey", "of SM4", () -> cipher("AES/GCM/NoPadding", ENCRYPT, SM4, NONCE)),
                refusal("InvalidKey", "of AES", () -> cipher("SM4/CFB/NoPadding", ENCRYPT, AES, IV)),
                refusal("InvalidKey", "destroyed", () -> cipher("AES/CTR/NoPadding", ENCRYPT, destroyed, IV)),
                refusal("InvalidKey", "parameters",
                        () -> Cipher.getInstance("AES/CTR/NoPadding", PROVIDER).init(DECRYPT, AES)),
                refusal("InvalidAlgorithmParameter", "parameters", () -> gcm(DECRYPT, null)),
                refusal("InvalidAlgorithmParameter", "GCMParameterSpec", () -> gcm(ENCRYPT, IV)),
                refusal("InvalidAlgorithmParameter", "IvParameterSpec",
                        () -> cipher("AES/OFB/NoPadding", ENCRYPT, AES, NONCE)),
                refusal("InvalidAlgorithmParameter", "of GCM", () -> Cipher.getInstance(
                        "AES/OFB/NoPadding", PROVIDER).init(DECRYPT, AES, gcm(ENCRYPT, NONCE).getParameters())),
                refusal("InvalidAlgorithmParameter", "12 bytes.*16",
                        () -> cipher("SM4/OFB/NoPadding", ENCRYPT, SM4, new IvParameterSpec(new byte[12]))),
                refusal("InvalidAlgorithmParameter", "empty",
                        () -> gcm(ENCRYPT, new GCMParameterSpec(128, new byte[0]))),
                refusal("InvalidAlgorithmParameter", "64 bits",
                        () -> gcm(DECRYPT, new GCMParameterSpec(64, new byte[12]))),
                refusal("InvalidAlgorithmParameter", "136 bits",
                        () -> gcm(DECRYPT, new GCMParameterSpec(136, new byte[12]))),
                refusal("UnsupportedOperation", "wraps", () -> gcm(Cipher.WRAP_MODE, NONCE)),
                refusal("UnsupportedOperation", "wraps",
                        () -> Cipher.getInstance("SM4/CTR/NoPadding", PROVIDER).init(Cipher.UNWRAP_MODE, SM4)),
                refusal("IllegalState", "", () -> gcm(ENCRYPT, NONCE).wrap(CLEAR)),
                refusal("UnsupportedOperation", "", () -> ctr(ENCRYPT, "NoPadding").updateAAD(AAD)),
                refusal("IllegalBlockSize", "100 bytes", () -> ctr(DECRYPT, "PKCS5Padding").doFinal(TEXT)),
                refusal("BadPadding", "", () -> ctr(DECRYPT, "PKCS5Padding").doFinal(zeros)),
                refusal("BadPadding", "", () -> ctr(DECRYPT, "ISO10126Padding").doFinal(zeros)),
                refusal("AEADBadTag", "", () -> gcm(DECRYPT, OTHER).doFinal(sealed)),
                refusal("AEADBadTag", "", () -> gcm(DECRYPT, NONCE).doFinal(new byte[15])),
                refusal("AEADBadTag", "",
                        () -> gcm(DECRYPT, new GCMParameterSpec(96, NONCE.getIV())).doFinal(new byte[11])),
                refusal("Provider", "VORLIX-WB",
                        () -> cipher("AES/GCM/NoPadding", ENCRYPT, absent, NONCE).doFinal(TEXT)),
                refusal("Provider", "VORLIX-WB", () -> cipher("AES/CTR/NoPadding", ENCRYPT, absent, IV).update(TEXT)),
                refusal("InvalidKey", "signing_key", () -> mac(unsigned, null)),
                refusal("InvalidKey", "of SM4", () -> mac(SM4, null)),
                refusal("InvalidKey", "SecretKeySpec", () -> mac(CLEAR, null)),
                refusal("InvalidAlgorithmParameter", "no parameters", () -> mac(AES, IV)));
    }

    private static Arguments refusal(String type, String message, Executable call) {
        return Arguments.of(type, message, call);
    }

    @ParameterizedTest
    @MethodSource("refusals")
    void refuses(String type, String message, Executable call) {
        Exception e = assertThrows(Exception.class, call);
        assertEquals(type + "Exception", e.getClass().getSimpleName());
        assertTrue(message.isEmpty() || e.getMessage().matches("(?s).*" + message + ".*"), e.getMessage());
    }

    @Test
    void gcmHasTagsOfSeveralLengths() throws Exception {
        for (int bits = 96; bits <= 128; bits += 8) {
            GCMParameterSpec parameters = new GCMParameterSpec(bits, TestTables.random(bits / 8, bits)); // the iv's too
            Cipher clear = Cipher.getInstance("AES/GCM/NoPadding");
            clear.init(ENCRYPT, CLEAR, parameters);
            clear.updateAAD(AAD);
            byte[] expected = clear.doFinal(TEXT);
            Cipher cipher = gcm(ENCRYPT, parameters);
            cipher.updateAAD(AAD);
            assertArrayEquals(expected, cipher.doFinal(TEXT));
            Cipher back = gcm(DECRYPT, parameters);
            for (int bit = 0; bit <= 8 * expected.length; bit += 8 * 7) {
                byte[] changed = TestTables.flip(expected, Math.min(bit, 8 * expected.length - 1));
                back.updateAAD(AAD);
                byte[] out = new byte[200];
                assertEquals(0, back.update(changed, 0, 90, out));
                assertThrows(IllegalStateException.class, () -> back.updateAAD(AAD), "the text has begun");
                assertThrows(AEADBadTagException.class, () -> back.doFinal(changed, 90, changed.length - 90, out));
                assertArrayEquals(new byte[200], out, "nothing comes out");
            }
            back.updateAAD(AAD); // as initialised, after a failure and after a success
            assertArrayEquals(TEXT, back.doFinal(expected));
            back.updateAAD(AAD);
            assertArrayEquals(TEXT, back.doFinal(expected));
            assertThrows(AEADBadTagException.class, () -> back.doFinal(expected), "additional data does not stay");
        }
    }

    @Test
    void gcmEncryptsOnceWithAnIv() throws Exception {
        Cipher cipher = gcm(ENCRYPT, NONCE);
        cipher.init(ENCRYPT, AES, NONCE); // nothing was encrypted so far
        byte[] sealed = cipher.doFinal(TEXT);
        assertArrayEquals(NONCE.getIV(), cipher.getIV());
        for (Executable call : new Executable[] {() -> cipher.doFinal(TEXT), cipher::doFinal, () -> cipher.update(TEXT),
            () -> cipher.updateAAD(AAD)}) {
            assertThrows(IllegalStateException.class, call);
        }
        Executable again = () -> cipher.init(ENCRYPT, TestTables.key(Key.AES_256), NONCE);
        assertThrows(InvalidAlgorithmParameterException.class, again);
        cipher.init(DECRYPT, AES, NONCE);
        assertArrayEquals(TEXT, cipher.doFinal(sealed));
        assertThrows(InvalidAlgorithmParameterException.class, again, "remembered over a decryption");
        cipher.init(ENCRYPT, TestTables.key(Key.AES_128), NONCE);
        cipher.init(ENCRYPT, AES, OTHER);
        assertFalse(Arrays.equals(sealed, cipher.doFinal(TEXT)));
    }

    /** As with the JDK's own provider. */
    @Test
    void nothingDecryptsToNothing() throws Exception {
        for (String padding : new String[] {"NoPadding", "PKCS5Padding", "ISO10126Padding"}) {
            Cipher cipher = ctr(DECRYPT, padding);
            assertEquals(0, cipher.doFinal().length);
            assertEquals(0, cipher.doFinal(new byte[0], 0));
            assertArrayEquals(TEXT, cipher.doFinal(ctr(ENCRYPT, padding).doFinal(TEXT)));
        }
    }

    @Test
    void aFailedDecryptionStartsAgain() throws Exception {
        Cipher cipher = ctr(DECRYPT, "PKCS5Padding");
        byte[] ciphertext = ctr(ENCRYPT, "PKCS5Padding").doFinal(TEXT);
        for (byte[] bad : new byte[][] {TEXT, TestTables.flip(ciphertext, 8 * ciphertext.length - 1)}) {
            assertThrows(Exception.class, () -> cipher.doFinal(bad));
            assertThrows(Exception.class, () -> cipher.doFinal(bad, 0, bad.length, new byte[97]), "by way of a copy");
            assertArrayEquals(TEXT, cipher.doFinal(ciphertext));
        }
    }

    /** Fails in the middle of a text, and in a way that goes by. */
    @Test
    void anInterruptedTextIsNotGoneOnWith() throws Exception {
        Credentials credentials = Credentials.fromToken(TestTables.token(TestTables.WBID), "com.example.jvm.tests");
        byte[] token = credentials.tokenFor(TableName.of("jvm", 1));
        WhiteboxKey key = TableLibrary.open("jvm", 1, credentials).key("k256");
        for (String padding : new String[] {"NoPadding", "PKCS5Padding"}) {
            for (int direction : new int[] {ENCRYPT, DECRYPT}) {
                for (int before : new int[] {0, 5}) {
                    Cipher cipher = cipher("AES/CTR/" + padding, direction, key, IV);
                    cipher.update(TEXT, 0, before);
                    token[0] ^= 1;
                    assertThrows(ProviderException.class, () -> cipher.update(TEXT));
                    token[0] ^= 1;
                    assertThrows(IllegalStateException.class, () -> cipher.update(TEXT));
                    assertThrows(IllegalStateException.class, () -> cipher.doFinal());
                    cipher.init(ENCRYPT, key, IV);
                    assertArrayEquals(ctr(ENCRYPT, padding).doFinal(TEXT), cipher.doFinal(TEXT));
                }
            }
        }
    }

    private static Mac mac(java.security.Key key, AlgorithmParameterSpec parameters) throws Exception {
        Mac mac = Mac.getInstance("HmacSHA256", PROVIDER);
        mac.init(key, parameters);
        return mac;
    }

    @Test
    void macSignsWhatWasCollected() throws Exception {
        Mac mac = mac(AES, null);
        assertEquals(32, mac.getMacLength());
        for (int length : new int[] {0, 1, 64, 1000}) {
            byte[] text = TestTables.random(length, length);
            byte[] expected = ClearKey.hmac(text, TestTables.SIGNING_KEY);
            assertArrayEquals(expected, mac.doFinal(text));
            for (byte piece : text) {
                mac.update(piece);
            }
            assertArrayEquals(expected, mac.doFinal());
            mac.update(AAD);
            mac.reset();
            mac.update(text, 0, length / 3);
            mac.update(ByteBuffer.wrap(text, length / 3, length - length / 3).asReadOnlyBuffer());
            assertArrayEquals(expected, mac.doFinal());
        }
    }
}
