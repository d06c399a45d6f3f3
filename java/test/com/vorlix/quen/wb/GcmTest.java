package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.vorlix.quen.wb.TestTables.Key;
import java.util.Arrays;
import org.junit.jupiter.api.Test;

/** AES-GCM against {@code javax.crypto}, and what it refuses. */
class GcmTest {
    private static final Native ENCRYPT = Native.named("WBkit_AES_GCM_encrypt");
    private static final Native DECRYPT = Native.named("WBkit_AES_GCM_decrypt");

    @Test
    void agreesWithTheClearKey() {
        for (Key key : Key.of("AES")) {
            for (int version : TestTables.VERSIONS) {
                for (int ivLength : new int[] {12, 1, 16, 60}) {
                    for (int aadLength : new int[] {0, 1, 16, 50}) {
                        for (int length : new int[] {0, 1, 15, 16, 17, 1000}) {
                            check(key, version, ivLength, aadLength, length);
                        }
                    }
                }
                check(key, version, 12, 1000, 1 << 20);
            }
        }
    }

    private static void check(Key key, int version, int ivLength, int aadLength, int length) {
        String what = key + ", version " + version + ", lengths " + ivLength + ", " + aadLength + ", " + length;
        byte[] iv = TestTables.random(ivLength, length);
        byte[] aad = TestTables.random(aadLength, length);
        byte[] plain = TestTables.random(length, length);
        byte[] sealed = ClearKey.gcmEncrypt(key, iv, aad, plain);
        assertArrayEquals(sealed,
                ENCRYPT.run("iv", iv, "input", plain, "aad", aad, "keyid", key.id, "version", version), what);
        assertArrayEquals(plain,
                DECRYPT.run("iv", iv, "sealed", sealed, "aad", aad, "keyid", key.id, "version", version), what);
    }

    @Test
    void refusesEveryChange() {
        byte[] sealed = Native.accepted("sealed");
        for (int bit = 0; bit < 8 * sealed.length; bit++) {
            assertNull(DECRYPT.run("sealed", TestTables.flip(sealed, bit)), "bit " + bit);
        }
        for (int cut = 0; cut < sealed.length; cut++) {
            assertNull(DECRYPT.run("sealed", Arrays.copyOf(sealed, cut)), "cut to " + cut);
        }
        assertNull(DECRYPT.run("aad", TestTables.flip(Native.accepted("aad"), 0)));
        assertNull(DECRYPT.run("aad", new byte[0]));
        assertNull(DECRYPT.run("iv", TestTables.flip(Native.accepted("iv"), 127)));
        assertNull(DECRYPT.run("keyid", Key.AES_192.id));
    }
}
