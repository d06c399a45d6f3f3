package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import com.vorlix.quen.wb.TestTables.Key;
import java.util.Arrays;
import org.junit.jupiter.api.Test;

/** The plain HMAC, and signatures. */
class MacTest {
    private static final Native SIGNATURE = Native.named("signature");
    private static final Native VERIFY = Native.named("verify");

    @Test
    void hmacAgreesWithJavaxCrypto() {
        for (int keyLength : new int[] {1, 32, 63, 64, 65, 200}) {
            for (int length : new int[] {0, 1, 55, 56, 63, 64, 65, 100_000}) {
                byte[] key = TestTables.random(keyLength, length);
                byte[] message = TestTables.random(length, keyLength);
                assertArrayEquals(ClearKey.hmac(message, key), WbkitAndr.hmac(message, key),
                        length + " bytes under a key of " + keyLength);
            }
        }
        // A key of zero bytes counts as one of zeros, of which javax.crypto accepts one but not none.
        assertArrayEquals(ClearKey.hmac(new byte[9], new byte[1]), WbkitAndr.hmac(new byte[9], new byte[0]));
    }

    @Test
    void signatureIsTheHmacUnderTheSigningKey() {
        for (int version : TestTables.VERSIONS) {
            for (int length : new int[] {0, 1, 64, 100_000}) {
                byte[] data = TestTables.random(length, length);
                byte[] expected = ClearKey.hmac(data, TestTables.SIGNING_KEY);
                assertArrayEquals(expected, SIGNATURE.run("data", data, "version", version));
                assertEquals(0, VERIFY.call("data", data, "sig", expected, "version", version));
            }
        }
        assertNull(SIGNATURE.run("keyid", Key.AES_128.id), "a key id without a signing key");
    }

    @Test
    void verificationRefusesEveryOtherSignature() {
        byte[] sig = Native.accepted("sig");
        for (int bit = 0; bit < 8 * sig.length; bit++) {
            assertNotEquals(0, VERIFY.call("sig", TestTables.flip(sig, bit)), "bit " + bit);
        }
        for (int length : new int[] {0, 31, 33}) {
            assertEquals(-1, VERIFY.call("sig", Arrays.copyOf(sig, length)), length + " bytes");
        }
        assertNotEquals(0, VERIFY.call("data", TestTables.bytes("data to sigm")));
        assertEquals(-1, VERIFY.call("hash", new byte[32]), "wrong token");
        assertEquals(-1, VERIFY.call("caller", TestTables.bytes("com.example.other")), "stranger");
    }
}
