package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.vorlix.quen.wb.TestTables.Key;
import java.util.Arrays;
import java.util.Random;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;

/** Every stream native against {@code javax.crypto}. */
class StreamModeTest {
    private static final int MEBIBYTE = 1 << 20;
    private static final int[] LENGTHS = {0, 1, 15, 16, 17, 31, 1000};
    private static final int[] PADDINGS = {StreamMode.NO_PADDING, StreamMode.PKCS5, StreamMode.ISO10126};

    @BeforeAll
    static void load() {
        TestTables.load();
    }

    @ParameterizedTest
    @EnumSource
    void agreesWithJavaxCryptoForEveryKeyPaddingAndLength(StreamMode mode) {
        for (Key key : Key.values()) {
            for (int version : TestTables.VERSIONS) {
                for (int padding : PADDINGS) {
                    for (int length : LENGTHS) {
                        check(mode, key, version, padding, length);
                    }
                }
            }
        }
    }

    @ParameterizedTest
    @EnumSource
    void agreesWithJavaxCryptoOnAMebibyte(StreamMode mode) {
        for (Key key : Key.values()) {
            for (int version : TestTables.VERSIONS) {
                check(mode, key, version, version == TestTables.ENCODED ? StreamMode.PKCS5 : StreamMode.NO_PADDING,
                        MEBIBYTE);
            }
        }
        check(mode, Key.AES_128, TestTables.ENCODED, StreamMode.ISO10126, MEBIBYTE);
    }

    /** In CTR the whole block counts, and wraps; in the other modes such an iv is one like any other. */
    @ParameterizedTest
    @EnumSource
    void takesAnIvOfAllOnes(StreamMode mode) {
        byte[] ones = new byte[16];
        Arrays.fill(ones, (byte) 0xff);
        byte[] plain = random(100, 1);
        assertArrayEquals(mode.encryptWithClearKey(Key.AES_256, ones, plain, StreamMode.NO_PADDING),
                mode.encrypt.run(Key.AES_256, TestTables.ENCODED, ones, plain, StreamMode.NO_PADDING));
    }

    @ParameterizedTest
    @EnumSource
    void extendsAShortIvWithZerosAndIgnoresWhatFollowsABlock(StreamMode mode) {
        byte[] plain = random(50, 2);
        for (int length : new int[] {0, 1, 15, 17, 40}) {
            byte[] iv = random(length, length);
            byte[] expected = mode.encryptWithClearKey(Key.AES_128, Arrays.copyOf(iv, 16), plain, StreamMode.PKCS5);
            String what = mode + " with an iv of " + length + " bytes";
            assertArrayEquals(expected,
                    mode.encrypt.run(Key.AES_128, TestTables.PLAIN, iv, plain, StreamMode.PKCS5), what);
            assertArrayEquals(plain,
                    mode.decrypt.run(Key.AES_128, TestTables.PLAIN, iv, expected, StreamMode.PKCS5), what);
        }
    }

    /** The count at the end is all that an unpadding looks at. */
    @ParameterizedTest
    @EnumSource
    void refusesTextsThatDoNotEndInPadding(StreamMode mode) {
        byte[] iv = random(16, 3);
        for (int last : new int[] {0, 1, 15, 16, 17, 255}) {
            byte[] padded = new byte[32];
            padded[31] = (byte) last;
            byte[] cipher = mode.encryptWithClearKey(Key.AES_192, iv, padded, StreamMode.NO_PADDING);
            for (int padding : new int[] {StreamMode.PKCS5, StreamMode.ISO10126}) {
                byte[] plain = mode.decrypt.run(Key.AES_192, TestTables.ENCODED, iv, cipher, padding);
                String what = mode + ", padding " + padding + ", last byte " + last;
                if (last > 16) {
                    assertNull(plain, what);
                } else {
                    assertArrayEquals(Arrays.copyOf(padded, 32 - last), plain, what);
                }
            }
        }
    }

    private static void check(StreamMode mode, Key key, int version, int padding, int length) {
        String what = mode + ", " + key + ", version " + version + ", padding " + padding + ", " + length + " bytes";
        byte[] iv = random(16, length + padding);
        byte[] plain = random(length, length + 1);

        byte[] cipher = mode.encrypt.run(key, version, iv, plain, padding);
        if (padding == StreamMode.ISO10126) { // its filler is random
            assertEquals(length + 16 - length % 16, cipher.length, what);
            assertArrayEquals(plain, mode.decryptWithClearKey(key, iv, cipher, padding), what);
        } else {
            assertArrayEquals(mode.encryptWithClearKey(key, iv, plain, padding), cipher, what);
        }

        byte[] decrypted =
                mode.decrypt.run(key, version, iv, mode.encryptWithClearKey(key, iv, plain, padding), padding);
        if (length == 0) { // an empty text does not come back, padded or not
            assertNull(decrypted, what);
        } else {
            assertArrayEquals(plain, decrypted, what);
        }
    }

    private static byte[] random(int length, long seed) {
        byte[] bytes = new byte[length];
        new Random(seed).nextBytes(bytes);
        return bytes;
    }
}
