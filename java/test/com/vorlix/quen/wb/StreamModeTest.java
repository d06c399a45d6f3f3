package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;

import com.vorlix.quen.wb.TestTables.Key;
import java.util.Arrays;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/** Every stream native against the same mode with the clear key. */
class StreamModeTest {
    @ParameterizedTest
    @ValueSource(strings = {"AES_CFB", "AES_OFB", "AES_CTR", "SM4_CFB", "SM4_OFB", "SM4_CTR"})
    void agreesWithTheClearKey(String mode) {
        for (Key key : Key.of(mode)) {
            for (int version : TestTables.VERSIONS) {
                for (int padding : new int[] {Native.NO_PADDING, Native.PKCS5, Native.ISO10126}) {
                    for (int length : new int[] {0, 1, 15, 16, 17, 31, 1000}) {
                        check(mode, key, version, padding, length);
                    }
                }
                check(mode, key, version, Native.PKCS5, 1 << 20);
            }
        }
    }

    private static void check(String mode, Key key, int version, int padding, int length) {
        String what = mode + ", " + key + ", version " + version + ", padding " + padding + ", " + length + " bytes";
        byte[] iv = TestTables.random(16, length + padding);
        byte[] plain = TestTables.random(length, length);
        byte[] padded = padding == Native.NO_PADDING ? plain : pkcs5(plain);
        byte[] expected = ClearKey.encrypt(mode, key, iv, padded);

        byte[] cipher = Native.named("WBkit_" + mode + "_encrypt")
                .run("iv", iv, "input", plain, "padding", padding, "keyid", key.id, "version", version);
        if (cipher != null && padding == Native.ISO10126) { // all of its filler but the count is random
            byte[] decrypted = ClearKey.decrypt(mode, key, iv, cipher);
            Arrays.fill(decrypted, length, decrypted.length - 1, decrypted[decrypted.length - 1]);
            cipher = ClearKey.encrypt(mode, key, iv, decrypted);
        }
        assertArrayEquals(length == 0 && key == Key.SM4 ? null : expected, cipher, what);

        byte[] decrypted = Native.named("WBkit_" + mode + "_decrypt")
                .run("iv", iv, "input", expected, "padding", padding, "keyid", key.id, "version", version);
        assertArrayEquals(length == 0 ? null : plain, decrypted, what); // an empty text does not come back, ever
    }

    private static byte[] pkcs5(byte[] plain) {
        int count = 16 - plain.length % 16;
        byte[] padded = Arrays.copyOf(plain, plain.length + count);
        Arrays.fill(padded, plain.length, padded.length, (byte) count);
        return padded;
    }

    /** A short iv is extended with zeros, what follows a block is ignored, and the counter of CTR may overflow. */}
