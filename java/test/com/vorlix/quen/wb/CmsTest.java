package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.vorlix.quen.wb.TestTables.Key;
import java.io.ByteArrayOutputStream;
import java.util.Arrays;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Ciphertexts in messages: every byte of them, the way back, and messages that nobody made. */
class CmsTest {
    private static final Native GCM_ENCRYPT = Native.named("WBkit_AES_CMS_GCM_encrypt");
    private static final Native GCM_DECRYPT = Native.named("aesGcmDecrypt");
    private static final int[] AES_NUMBERS = {17, 14, 11};
    private static final byte[] NONE = {};

    @ParameterizedTest
    @CsvSource({"AES, CFB, aesCfbDecrypt, 0", "AES, OFB, aesOfbDecrypt, 0", "AES, CTR, aesCtrDecrypt, 0",
        "SM4, CFB, sm4CfbDecrypt, 18", "SM4, OFB, sm4OfbDecrypt, 19", "SM4, CTR, sm4CtrDecrypt, 20"})
    void carriesAStreamCiphertext(String cipher, String mode, String decryption, int sm4Number) {
        for (Key key : Key.of(cipher)) {
            int number = key == Key.SM4 ? sm4Number : AES_NUMBERS[key.ordinal()];
            for (int padding : new int[] {Native.NO_PADDING, Native.PKCS5, Native.ISO10126}) {
                for (int length : new int[] {1, 16, 1000}) {
                    String what = key + ", padding " + padding + ", " + length + " bytes";
                    byte[] plain = TestTables.random(length, length);
                    byte[] iv = TestTables.random(16, length);
                    byte[] data = TestTables.random(length / 16, length);
                    byte[] message = Native.named("WBkit_" + cipher + "_CMS_" + mode + "_encrypt")
                            .run("iv", iv, "input", plain, "padding", padding, "key", data, "keyid", key.id);

                    byte[] content = end(message, padding == Native.NO_PADDING ? length : length + 16 - length % 16);
                    assertArrayEquals(packed(number, 7 + padding, data, iv, NONE, NONE, content), message, what);
                    assertArrayEquals(plain, Native.named("WBkit_" + cipher + "_" + mode + "_decrypt")
                            .run("iv", iv, "input", content, "padding", padding, "keyid", key.id), what);
                    assertArrayEquals(plain, Native.named(decryption).run("message", message, "keyid", key.id), what);
                }
            }
        }
    }

    @Test
    void carriesAGcmCiphertext() {
        for (Key key : Key.of("AES")) {
            for (int aadLength : new int[] {0, 16, 100}) {
                for (int length : new int[] {0, 1, 1000}) {
                    String what = key + ", additional data of " + aadLength + ", " + length + " bytes";
                    byte[] plain = TestTables.random(length, length);
                    byte[] iv = TestTables.random(12, length);
                    byte[] aad = TestTables.random(aadLength, length);
                    byte[] data = TestTables.random(length / 16, length);
                    byte[] message =
                            GCM_ENCRYPT.run("iv", iv, "input", plain, "aad", aad, "key", data, "keyid", key.id);

                    byte[] sealed = ClearKey.gcmEncrypt(key, iv, aad, plain);
                    assertArrayEquals(packed(AES_NUMBERS[key.ordinal()], 7, data, iv, aad, end(sealed, 16), sealed),
                            message, what);
                    assertArrayEquals(plain, GCM_DECRYPT.run("message", message, "keyid", key.id), what);
                }
            }
        }
    }

    /** Intended: that the encryption failed shows in the log, and in what the message lacks. */
    @Test
    void gcmWithAKeyThatCannotBeUsedGivesAMessageWithoutContent() {
        byte[] message = GCM_ENCRYPT.run("keyid", TestTables.bytes("k129"));
        assertArrayEquals(packed(17, 7, Native.accepted("key"), Native.accepted("iv"), Native.accepted("aad"),
                new byte[16], NONE), message);
        assertNull(GCM_DECRYPT.run("message", message));
    }

    /** But of the tag behind the content: the one that counts has a field of its own. */
    @Test
    void gcmNoticesEveryChangeOfTagAndContent() {
        byte[] message = Native.accepted("message");
        int behind = message.length - 16;
        int tagAndContent = behind - 2 - 16 - 2 - Native.accepted("input").length;
        for (int bit = 8 * tagAndContent; bit < 8 * behind; bit++) {
            assertNull(GCM_DECRYPT.run("message", TestTables.flip(message, bit)), "bit " + bit);
        }
        for (int cut = 0; cut < message.length; cut++) {
            assertNull(GCM_DECRYPT.run("message", Arrays.copyOf(message, cut)), "cut to " + cut);
        }
    }

    /** Whatever a mode makes of such a message, it survives it, and returns no more than the message holds. */
    @ParameterizedTest
    @ValueSource(strings = {"aesCfbDecrypt", "aesOfbDecrypt", "aesCtrDecrypt", "aesGcmDecrypt", "sm4CfbDecrypt",
        "sm4OfbDecrypt", "sm4CtrDecrypt"})
    void survivesForeignMessages(String decryption) {
        Native decrypt = Native.named(decryption);
        for (String mode : new String[] {"AES_CMS_CFB", "AES_CMS_CTR", "SM4_CMS_CFB", "SM4_CMS_CTR"}) {
            byte[] message = Native.named("WBkit_" + mode + "_encrypt").run("padding", Native.PKCS5);
            boolean own = (mode.replace("_CMS_", "") + "Decrypt").equalsIgnoreCase(decryption);
            assertEquals(own, Arrays.equals(Native.accepted("input"), decrypt.run("message", message)), mode);
            for (int cut = 0; cut < message.length; cut++) {
                assertBounded(decrypt, Arrays.copyOf(message, cut));
                assertBounded(decrypt, TestTables.flip(message, 8 * cut + cut % 8));
            }
        }
        for (int length = 0; length < 500; length++) {
            assertBounded(decrypt, TestTables.random(length, length));
        }
    }

    private static void assertBounded(Native decrypt, byte[] message) {
        byte[] decrypted = decrypt.run("message", message);
        assertTrue(decrypted == null || decrypted.length <= message.length);
    }

    /** A CMSEncryptedData in Protocol Buffers; empty fields are left out. */
    private static byte[] packed(int cipherNumber, int padding, byte[]... fieldsFromKeyOn) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        putBytes(out, 1, TestTables.bytes("irvo_cms_2020-02-27"));
        for (int next : new int[] {2 << 3, 3, 3 << 3, cipherNumber, 4 << 3, padding}) {
            out.write(next);
        }
        for (int i = 0; i < fieldsFromKeyOn.length; i++) {
            putBytes(out, 5 + i, fieldsFromKeyOn[i]);
        }
        return out.toByteArray();
    }

    private static void putBytes(ByteArrayOutputStream out, int number, byte[] value) {
        if (value.length == 0) {
            return;
        }
        out.write(number << 3 | 2);
        if (value.length >> 7 != 0) { // never above 14 bits
            out.write(value.length & 0x7f | 0x80);
        }
        out.write(value.length >> 7 != 0 ? value.length >> 7 : value.length);
        out.write(value, 0, value.length);
    }

    private static byte[] end(byte[] bytes, int length) {
        return Arrays.copyOfRange(bytes, bytes.length - length, bytes.length);
    }
}
