package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertNull;

import java.util.Random;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/** The plain HMAC, and what it is for: a token that is made by natives alone. */
class HmacTest {
    @BeforeAll
    static void load() {
        TestTables.load();
    }

    @Test
    void agreesWithJavaxCrypto() {
        Random random = new Random(5);
        for (int keyLength : new int[] {1, 32, 63, 64, 65, 200}) {
            for (int messageLength : new int[] {0, 1, 55, 56, 63, 64, 65, 100_000}) {
                byte[] key = new byte[keyLength];
                byte[] message = new byte[messageLength];
                random.nextBytes(key);
                random.nextBytes(message);
                assertArrayEquals(TestTables.hmac(message, key), WbkitAndr.hmac(message, key),
                        messageLength + " bytes under a key of " + keyLength);
            }
        }
    }

    /** A key of zero bytes counts as one of zeros, of which javax.crypto accepts one but not none. */
    @Test
    void takesAnEmptyKey() {
        byte[] message = TestTables.bytes("message");
        assertArrayEquals(TestTables.hmac(message, new byte[1]), WbkitAndr.hmac(message, new byte[0]));
    }

    @Test
    void refusesNull() {
        assertNull(WbkitAndr.hmac(null, new byte[1]));
        assertNull(WbkitAndr.hmac(new byte[1], null));
    }

    @Test
    void makesATokenThatIsAdmitted() {
        byte[] sk = WbkitAndr.getSk(TestTables.AK, TestTables.WBID, TestTables.ENCODED);
        byte[] token = WbkitAndr.hmac(TestTables.concat(TestTables.WBID, TestTables.APPID), sk);
        assertArrayEquals(TestTables.APPID,
                WbkitAndr.getAppid(token, TestTables.CALLER, TestTables.WBID, TestTables.ENCODED));
    }
}
