package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.vorlix.quen.wb.TestTables.Key;
import java.io.ByteArrayOutputStream;
import java.io.NotSerializableException;
import java.io.ObjectOutputStream;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.util.Arrays;
import java.util.stream.Stream;
import javax.crypto.AEADBadTagException;
import javax.crypto.BadPaddingException;
import javax.crypto.IllegalBlockSizeException;
import javax.security.auth.DestroyFailedException;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.EnumSource;
import org.junit.jupiter.params.provider.MethodSource;

/** Every operation of a key: its results against natives and clear keys, and its refusals. */
class WhiteboxKeyTest {
    private static final WhiteboxKey AES = TestTables.key(Key.AES_256);
    private static final WhiteboxKey SM4 = TestTables.key(Key.SM4);
    private static final byte[] IV = TestTables.random(16, 1);
    private static final byte[] NONCE = TestTables.random(12, 2);
    private static final byte[] TEXT = TestTables.random(100, 3);
    private static final byte[] AAD = TestTables.bytes("additional data");
    private static final byte[] NONE = {};

    @ParameterizedTest
    @EnumSource(Key.class)
    void streamModesAgreeWithTheNatives(Key key) throws Exception {
        WhiteboxKey whitebox = TestTables.key(key);
        for (StreamMode mode : StreamMode.values()) {
            String prefix = "WBkit_" + whitebox.getAlgorithm() + "_" + mode + "_";
            for (Padding padding : Padding.values()) {
                for (int length : new int[] {0, 1, 15, 16, 17, 1000, StreamEngine.PIECE + 9}) {
                    String what = mode + ", " + padding + ", " + length + " bytes";
                    byte[] plain = TestTables.random(length, length);
                    byte[] ciphertext = whitebox.encrypt(mode, padding, IV, plain);
                    assertArrayEquals(plain, whitebox.decrypt(mode, padding, IV, ciphertext), what);
                    if (length != 0) { // an empty text does not come back from the natives
                        Object[] arguments = {"iv", IV, "padding", padding.number(), "keyid", key.id, "input"};
                        arguments = Arrays.copyOf(arguments, arguments.length + 1);
                        arguments[arguments.length - 1] = ciphertext;
                        assertArrayEquals(plain, Native.named(prefix + "decrypt").run(arguments), what);
                        arguments[arguments.length - 1] = plain;
                        byte[] theirs = Native.named(prefix + "encrypt").run(arguments);
                        assertArrayEquals(plain, whitebox.decrypt(mode, padding, IV, theirs), what);
                    }
                }
            }
        }
    }

    @Test
    void gcmAgreesWithJavaxCrypto() throws Exception {
        for (int length : new int[] {0, 1, 16, 1 << 20}) {
            byte[] plain = TestTables.random(length, length);
            byte[] expected = ClearKey.gcmEncrypt(Key.AES_256, NONCE, AAD, plain);
            assertArrayEquals(expected, AES.seal(plain, AAD, NONCE));
            assertArrayEquals(plain, AES.open(expected, AAD, NONCE));
            assertArrayEquals(plain, AES.open(TestTables.concat(NONCE, expected), AAD));
            byte[] sealed = AES.seal(plain, AAD);
            assertArrayEquals(ClearKey.gcmEncrypt(Key.AES_256, Arrays.copyOf(sealed, 12), AAD, plain),
                    Arrays.copyOfRange(sealed, 12, sealed.length));
            assertFalse(Arrays.equals(sealed, AES.seal(plain, AAD)), "a nonce of its own for each");
        }
    }

    @Test
    void sealedMessagesComeBack() throws Exception {
        byte[] mostAad = new byte[CmsMessage.ROOM_FOR_AAD];
        for (byte[] plain : new byte[][] {NONE, TEXT, new byte[1 << 20]}) {
            assertArrayEquals(plain, AES.openMessage(AES.sealMessage(plain, mostAad, plain)));
        }
    }

    @Test
    void signaturesAreThoseOfTheSigningKey() throws Exception {
        byte[] signature = ClearKey.hmac(TEXT, TestTables.SIGNING_KEY);
        assertArrayEquals(signature, AES.sign(TEXT));
        assertTrue(AES.verify(TEXT, signature));
        for (int bit = 0; bit < 256; bit += 17) { // the first difference may have either sign
            assertFalse(AES.verify(TEXT, TestTables.flip(signature, bit)), "bit " + bit);
        }
        assertFalse(AES.verify(TEXT, Arrays.copyOf(signature, 31)));
        assertFalse(AES.verify(AAD, signature));
    }

    static Stream<Arguments> refusals() throws Exception {
        byte[] sealed = AES.seal(TEXT, AAD);
        byte[] blockOfZeros = AES.encrypt(StreamMode.CTR, Padding.NONE, IV, new byte[16]);
        byte[] badText = TestTables.unhex("00000000000000000000000000020303");
        byte[] wrongFiller = AES.encrypt(StreamMode.CTR, Padding.NONE, IV, badText);
        byte[] message = AES.sealMessage(TEXT, AAD, NONE);
        byte[] pkcs5 = {4 << 3, 8}; // behind a message, says that it has this padding
        byte[] badMessage = TestTables.concat(AES.encryptMessage(StreamMode.CFB, Padding.NONE, badText, NONE), pkcs5);
        byte[] longer = TestTables.concat(AES.encryptMessage(StreamMode.CFB, Padding.NONE, TEXT, NONE), pkcs5);
        WhiteboxKey absent = new WhiteboxKey(AES.access(), Algorithm.AES, "k129");
        WhiteboxKey unsigned = TestTables.key(Key.AES_128);
        return Stream.of(
                refusal("InvalidAlgorithmParameter", "15 bytes.*16",
                        () -> AES.encrypt(StreamMode.CTR, Padding.NONE, new byte[15], TEXT)),
                refusal("InvalidAlgorithmParameter", "17 bytes.*16",
                        () -> SM4.decrypt(StreamMode.CFB, Padding.NONE, new byte[17], TEXT)),
                refusal("InvalidAlgorithmParameter", "16 bytes.*12", () -> AES.seal(TEXT, AAD, IV)),
                refusal("InvalidAlgorithmParameter", "0 bytes.*12", () -> AES.open(sealed, AAD, NONE)),
                refusal("IllegalBlockSize", "100 bytes", () -> AES.decrypt(StreamMode.CTR, Padding.PKCS5, IV, TEXT)),
                refusal("IllegalBlockSize", " 0 bytes", () -> AES.decrypt(StreamMode.OFB, Padding.ISO10126, IV, NONE)),
                refusal("BadPadding", "", () -> AES.decrypt(StreamMode.CTR, Padding.PKCS5, IV, blockOfZeros)),
                refusal("BadPadding", "", () -> AES.decrypt(StreamMode.CTR, Padding.ISO10126, IV, blockOfZeros)),
                refusal("BadPadding", "", () -> AES.decrypt(StreamMode.CTR, Padding.PKCS5, IV, wrongFiller)),
                refusal("AEADBadTag", "", () -> AES.open(TestTables.flip(sealed, 100), AAD)),
                refusal("AEADBadTag", "", () -> AES.open(sealed, NONE)),
                refusal("AEADBadTag", "", () -> AES.open(new byte[11], AAD)),
                refusal("AEADBadTag", "", () -> AES.open(new byte[15], AAD, NONCE)),
                refusal("AEADBadTag", "", () -> TestTables.key(Key.AES_192).open(sealed, AAD)),
                refusal("InvalidKey", "SM4", () -> SM4.seal(TEXT, AAD)),
                refusal("InvalidKey", "SM4", () -> SM4.open(sealed, AAD, NONCE)),
                refusal("InvalidKey", "SM4", () -> SM4.sealMessage(TEXT, AAD, NONE)),
                refusal("InvalidKey", "SM4", () -> SM4.openMessage(message)),
                refusal("InvalidKey", "SM4", () -> SM4.sign(TEXT)),
                refusal("UnknownKey", "signing_key", () -> unsigned.sign(TEXT)),
                refusal("UnknownKey", "signing_key", () -> unsigned.verify(TEXT, new byte[32])),
                refusal("IllegalBlockSize", "empty",
                        () -> AES.encryptMessage(StreamMode.CTR, Padding.PKCS5, NONE, NONE)),
                refusal("Wbkit", "no packed", () -> AES.decryptMessage(StreamMode.CTR, new byte[] {10})),
                refusal("Wbkit", "no packed", () -> AES.openMessage(Arrays.copyOf(message, 150))),
                refusal("IllegalBlockSize", "no content", () -> AES.decryptMessage(StreamMode.CTR, NONE)),
                refusal("BadPadding", "", () -> AES.decryptMessage(StreamMode.CFB, badMessage)),
                refusal("IllegalBlockSize", "100 bytes", () -> AES.decryptMessage(StreamMode.CFB, longer)),
                refusal("AEADBadTag", "", () -> AES.openMessage(TestTables.flip(message, 8 * message.length - 8 * 17))),
                refusal("Wbkit", "200 bytes.*at most 100", () -> AES.sealMessage(TEXT, new byte[200], NONE)),
                // packed by the native all the same
                refusal("Wbkit", "VORLIX-WB", () -> absent.sealMessage(TEXT, AAD, NONE)),
                refusal("Wbkit", "VORLIX-WB", () -> absent.sealMessage(NONE, NONE, NONE)));
    }

    private static Arguments refusal(String type, String message, Executable call) {
        return Arguments.of(type, message, call);
    }

    @ParameterizedTest
    @MethodSource("refusals")
    void refuses(String type, String message, Executable call) {
        Exception e = assertThrows(GeneralSecurityException.class, call);
        assertEquals(type + "Exception", e.getClass().getSimpleName());
        assertTrue(e.getMessage().matches("(?s).*" + message + ".*"), e.getMessage());
    }

    @Test
    void tellsNothingButItsPlace() throws Exception {
        assertEquals("AES", AES.getAlgorithm());
        assertEquals("SM4", SM4.getAlgorithm());
        assertNull(AES.getEncoded());
        assertNull(AES.getFormat());
        assertTrue(assertThrows(DestroyFailedException.class, AES::destroy).getMessage().contains("Credentials"));
        assertEquals(WhiteboxKey.class, WhiteboxKey.class.getMethod("destroy").getDeclaringClass());
        assertEquals("AES key k256 of libwb_tables_jvm_1.so", AES.toString());
        assertThrows(NotSerializableException.class,
                () -> new ObjectOutputStream(new ByteArrayOutputStream()).writeObject(AES));
        WhiteboxKey sameKey = TestTables.open(TestTables.ENCODED).key("k256");
        assertEquals(AES, sameKey);
        assertEquals(AES.hashCode(), sameKey.hashCode());
        assertFalse(AES.equals(TestTables.open(TestTables.PLAIN).key("k256")) || AES.equals(SM4));
    }
}
